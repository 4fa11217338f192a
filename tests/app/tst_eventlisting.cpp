#include "app/eventlisting.h"
#include "calendar/calendarprovidererror.h"
#include "calendar/democalendarprovider.h"
#include "platform/manualclock.h"
#include "tasks.h"
#include "timezone.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace bellwick;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now(QDate(2026, 11, 22), QTime(9, 0), Qt::UTC);

CalendarEvent makeEvent(const QString &title, int startMinutes, std::optional<QString> notes = std::nullopt,
                        bool isAllDay = false)
{
    return CalendarEvent({.providerID = u"demo"_s,
                          .originalID = title,
                          .title = title,
                          .notes = std::move(notes),
                          .startDate = now.addSecs(startMinutes * 60),
                          .endDate = now.addSecs((startMinutes + (isAllDay ? 1440 : 30)) * 60),
                          .isAllDay = isAllDay,
                          .calendarName = u"Work"_s});
}

} // namespace

class EventListingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { test::pinTimeZone("America/New_York"); }

    void columnsInLocalTime_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("startMinutes");
        QTest::addColumn<bool>("isAllDay");
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("line");

        QTest::newRow("zoom") << u"Standup"_s << 10 << false << u"https://zoom.us/j/1"_s
                              << u"2026-11-22 04:10\t2026-11-22 04:40\tStandup\tWork\tZoom\thttps://zoom.us/j/1"_s;
        QTest::newRow("no link") << u"Standup"_s << 10 << false << u"Bring snacks"_s
                                 << u"2026-11-22 04:10\t2026-11-22 04:40\tStandup\tWork\t-\t-"_s;
        QTest::newRow("title kept on one line")
            << u"Budget\nreview\tQ3"_s << 0 << false << QString()
            << u"2026-11-22 04:00\t2026-11-22 04:30\tBudget review Q3\tWork\t-\t-"_s;
        // New York midnight of the 26th.
        QTest::newRow("all day: its date")
            << u"Holiday"_s << 5520 << true << QString() << u"2026-11-26\tall day\tHoliday\tWork\t-\t-"_s;
    }

    void columnsInLocalTime()
    {
        QFETCH(QString, title);
        QFETCH(int, startMinutes);
        QFETCH(bool, isAllDay);
        QFETCH(QString, notes);
        QFETCH(QString, line);

        QCOMPARE(eventColumns(makeEvent(title, startMinutes, notes, isAllDay)).join(u'\t'), line);
    }

    void jsonCarriesTheFields()
    {
        const QJsonObject object =
            QJsonDocument::fromJson(eventJson(makeEvent(u"Sync"_s, 10, u"https://teams.microsoft.com/l/x"_s))).object();
        QCOMPARE(object.value(u"id"_s).toString(), u"demo_Sync"_s);
        QCOMPARE(object.value(u"start"_s).toString(), u"2026-11-22T04:10:00.000-05:00"_s);
        QCOMPARE(object.value(u"meetingType"_s).toString(), u"Microsoft Teams"_s);
        QCOMPARE(object.value(u"meetingURL"_s).toString(), u"https://teams.microsoft.com/l/x"_s);
        QVERIFY(object.value(u"location"_s).isNull());
        QCOMPARE(object.value(u"isAllDay"_s), QJsonValue(false));
    }

    void listingMergesProvidersAndReportsFailures()
    {
        ManualClock clock(now);
        DemoCalendarProvider first(clock, u"a"_s, u"First"_s);
        first.setEvents({makeEvent(u"later"_s, 60)});
        DemoCalendarProvider broken(clock, u"b"_s, u"Broken"_s);
        broken.setFailure(std::make_exception_ptr(CalendarProviderError::tokenExpired()));
        DemoCalendarProvider second(clock, u"c"_s, u"Second"_s);
        second.setEvents({makeEvent(u"sooner"_s, 5)});

        QString out;
        QString errors;
        QTextStream outStream(&out);
        QTextStream errorStream(&errors);
        const int status = test::runTask(listUpcomingEvents({&first, &broken, &second}, false, outStream, errorStream));

        QCOMPARE(status, 1);
        QCOMPARE(errors, u"Broken: Authentication expired. Please sign in again.\n"_s);
        // Columns line up: each starts at the same offset on every line.
        QCOMPARE(out, u"2026-11-22 04:05  2026-11-22 04:35  sooner  Work  -  -\n"
                      "2026-11-22 05:00  2026-11-22 05:30  later   Work  -  -\n"_s);
    }

    void demoListingFromTheCommandLine()
    {
        QProcess process;
        process.start(QStringLiteral(BELLWICK_BINARY), {u"--list-events"_s, u"--demo"_s, u"--json"_s});
        QVERIFY(process.waitForFinished(30'000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardError(), QByteArray());
        const QList<QByteArray> lines = process.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE_GE(lines.size(), 4);
        for (const QByteArray &line : lines) {
            QVERIFY2(QJsonDocument::fromJson(line).object().contains(u"meetingType"_s), line.constData());
        }
    }
};

QTEST_GUILESS_MAIN(EventListingTest)
#include "tst_eventlisting.moc"
