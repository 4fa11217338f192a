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

namespace {

const QDateTime now(QDate(2026, 11, 22), QTime(9, 0), Qt::UTC);

CalendarEvent makeEvent(const QString &title, int startMinutes, std::optional<QString> notes = std::nullopt)
{
    return CalendarEvent({
        .providerID = QStringLiteral("demo"),
        .originalID = title,
        .title = title,
        .notes = std::move(notes),
        .startDate = now.addSecs(startMinutes * 60),
        .endDate = now.addSecs((startMinutes + 30) * 60),
        .calendarName = QStringLiteral("Work"),
    });
}

struct Run {
    int exitCode = -1;
    QStringList out;
    QStringList errors;
};

Run runBinary(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(BELLWICK_BINARY), arguments);
    process.waitForFinished(30'000);
    const auto lines = [](const QByteArray &bytes) {
        return QString::fromUtf8(bytes).split(u'\n', Qt::SkipEmptyParts);
    };
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            lines(process.readAllStandardOutput()), lines(process.readAllStandardError())};
}

} // namespace

class EventListingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { test::pinTimeZone("America/New_York"); }

    void columnsInLocalTime_data()
    {
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("line");

        QTest::newRow("zoom") << "https://zoom.us/j/1"
                              << "2026-11-22 04:10\t2026-11-22 04:40\tStandup\tWork\tZoom\thttps://zoom.us/j/1";
        QTest::newRow("no link") << "Bring snacks"
                                 << "2026-11-22 04:10\t2026-11-22 04:40\tStandup\tWork\t-\t-";
    }

    void columnsInLocalTime()
    {
        QFETCH(QString, notes);
        QFETCH(QString, line);
        QCOMPARE(eventColumns(makeEvent(QStringLiteral("Standup"), 10, notes)).join(u'\t'), line);
    }

    void titleStaysOnOneLine()
    {
        QCOMPARE(eventColumns(makeEvent(QStringLiteral("Budget\nreview\tQ3"), 0)).at(2),
                 QStringLiteral("Budget review Q3"));
    }

    void allDayShowsTheDate()
    {
        const CalendarEvent holiday({
            .providerID = QStringLiteral("demo"),
            .originalID = QStringLiteral("h"),
            .title = QStringLiteral("Holiday"),
            .startDate = QDateTime(QDate(2026, 11, 26), QTime(0, 0)),
            .endDate = QDateTime(QDate(2026, 11, 27), QTime(0, 0)),
            .isAllDay = true,
            .calendarName = QStringLiteral("Home"),
        });
        QCOMPARE(eventColumns(holiday).join(u'\t'), QStringLiteral("2026-11-26\tall day\tHoliday\tHome\t-\t-"));
    }

    void jsonCarriesTheFields()
    {
        const QJsonObject object =
            QJsonDocument::fromJson(
                eventJson(makeEvent(QStringLiteral("Sync"), 10, QStringLiteral("https://teams.microsoft.com/l/x"))))
                .object();
        QCOMPARE(object.value(QStringLiteral("id")).toString(), QStringLiteral("demo_Sync"));
        QCOMPARE(object.value(QStringLiteral("start")).toString(), QStringLiteral("2026-11-22T04:10:00.000-05:00"));
        QCOMPARE(object.value(QStringLiteral("meetingType")).toString(), QStringLiteral("Microsoft Teams"));
        QCOMPARE(object.value(QStringLiteral("meetingURL")).toString(),
                 QStringLiteral("https://teams.microsoft.com/l/x"));
        QVERIFY(object.value(QStringLiteral("location")).isNull());
        QCOMPARE(object.value(QStringLiteral("isAllDay")).toBool(), false);
    }

    void listingMergesProvidersAndReportsFailures()
    {
        ManualClock clock(now);
        DemoCalendarProvider first(clock, QStringLiteral("a"), QStringLiteral("First"));
        first.setEvents({makeEvent(QStringLiteral("later"), 60)});
        DemoCalendarProvider broken(clock, QStringLiteral("b"), QStringLiteral("Broken"));
        broken.setFailure(std::make_exception_ptr(CalendarProviderError::tokenExpired()));
        DemoCalendarProvider second(clock, QStringLiteral("c"), QStringLiteral("Second"));
        second.setEvents({makeEvent(QStringLiteral("sooner"), 5)});

        QString out;
        QString errors;
        QTextStream outStream(&out);
        QTextStream errorStream(&errors);
        const int status = test::runTask(listUpcomingEvents({&first, &broken, &second}, false, outStream, errorStream));

        QCOMPARE(status, 1);
        QCOMPARE(errors, QStringLiteral("Broken: Authentication expired. Please sign in again.\n"));
        // Columns line up: each starts at the same offset on every line.
        QCOMPARE(out, QStringLiteral("2026-11-22 04:05  2026-11-22 04:35  sooner  Work  -  -\n"
                                     "2026-11-22 05:00  2026-11-22 05:30  later   Work  -  -\n"));
    }

    void demoListingFromTheCommandLine()
    {
        const Run run =
            runBinary({QStringLiteral("--list-events"), QStringLiteral("--demo"), QStringLiteral("--json")});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.errors.isEmpty(), qPrintable(run.errors.join(u'\n')));
        QVERIFY(run.out.size() >= 4);
        QStringList services;
        QDateTime previous;
        for (const QString &line : run.out) {
            const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
            QVERIFY2(!object.isEmpty(), qPrintable(line));
            const QDateTime start =
                QDateTime::fromString(object.value(QStringLiteral("start")).toString(), Qt::ISODateWithMs);
            QVERIFY(!previous.isValid() || previous <= start);
            previous = start;
            services << object.value(QStringLiteral("meetingType")).toString();
        }
        QVERIFY(services.contains(QStringLiteral("Zoom")));
        QVERIFY(services.contains(QStringLiteral("Microsoft Teams")));
    }
};

QTEST_GUILESS_MAIN(EventListingTest)
#include "tst_eventlisting.moc"
