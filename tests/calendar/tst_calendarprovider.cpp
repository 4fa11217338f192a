#include "calendar/calendarprovidererror.h"
#include "calendar/democalendarprovider.h"
#include "platform/manualclock.h"
#include "tasks.h"
#include "timezone.h"

#include <QTest>

#include <stdexcept>

using namespace bellwick;
using bellwick::test::runTask;

Q_DECLARE_METATYPE(bellwick::CalendarProviderError)

namespace {

QDateTime berlin(const char *iso)
{
    return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODate);
}

CalendarEvent makeEvent(const QString &id, const QDateTime &start, int minutes)
{
    return CalendarEvent({
        .providerID = QStringLiteral("demo"),
        .originalID = id,
        .title = id,
        .startDate = start,
        .endDate = start.addSecs(minutes * 60),
        .calendarName = QStringLiteral("Work"),
    });
}

QStringList titles(const QList<CalendarEvent> &events)
{
    QStringList out;
    for (const CalendarEvent &e : events) {
        out << e.title();
    }
    return out;
}

} // namespace

class CalendarProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { test::pinTimeZone("Europe/Berlin"); }

    void windowIsOneWallClockDay_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QDateTime>("end");
        QTest::addColumn<int>("hours");

        QTest::newRow("late evening") << berlin("2026-11-22T23:30:00") << berlin("2026-11-23T23:30:00") << 24;
        QTest::newRow("into summer time") << berlin("2026-03-28T23:30:00") << berlin("2026-03-29T23:30:00") << 23;
        QTest::newRow("into winter time") << berlin("2026-10-24T23:30:00") << berlin("2026-10-25T23:30:00") << 25;
        QTest::newRow("year end") << berlin("2026-12-31T23:30:00") << berlin("2027-01-01T23:30:00") << 24;
        QTest::newRow("leap day") << berlin("2028-02-28T12:00:00") << berlin("2028-02-29T12:00:00") << 24;
        QTest::newRow("wall time that does not exist")
            << berlin("2026-03-28T02:30:00") << berlin("2026-03-29T03:30:00") << 24;
    }

    void windowIsOneWallClockDay()
    {
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, end);
        QFETCH(int, hours);

        ManualClock clock(now.toUTC());
        DemoCalendarProvider provider(clock);
        auto config = provider.config();
        config.lookAheadHours = 2;
        provider.setConfig(config);

        runTask(provider.fetchUpcomingEvents());

        QCOMPARE(provider.fetchCount(), 1);
        QCOMPARE(provider.lastWindow().first, now);
        QCOMPARE(provider.lastWindow().second, end);
        QCOMPARE(provider.lastWindow().first.secsTo(provider.lastWindow().second), hours * 3600);
    }

    void upcomingKeepsOnlyEventsInTheWindow()
    {
        const QDateTime now = berlin("2026-11-22T09:00:00");
        ManualClock clock(now.toUTC());
        DemoCalendarProvider provider(clock);
        provider.setEvents({
            makeEvent(QStringLiteral("ended"), now.addSecs(-3600), 60),
            makeEvent(QStringLiteral("running"), now.addSecs(-600), 30),
            makeEvent(QStringLiteral("soon"), now.addSecs(600), 30),
            makeEvent(QStringLiteral("tomorrow early"), now.addSecs(23 * 3600), 30),
            makeEvent(QStringLiteral("too far"), now.addSecs(24 * 3600), 30),
        });

        QCOMPARE(titles(runTask(provider.fetchUpcomingEvents())),
                 (QStringList{QStringLiteral("running"), QStringLiteral("soon"), QStringLiteral("tomorrow early")}));
    }

    void nothingScheduledIsAnEmptyListNotAFailure()
    {
        ManualClock clock(berlin("2026-11-22T09:00:00").toUTC());
        DemoCalendarProvider provider(clock);
        QVERIFY(runTask(provider.fetchUpcomingEvents()).isEmpty());
    }

    void unclassifiedFailuresPassThroughUnchanged()
    {
        ManualClock clock(berlin("2026-11-22T09:00:00").toUTC());
        DemoCalendarProvider provider(clock);
        provider.setFailure(std::make_exception_ptr(std::runtime_error("Connection reset by peer")));
        try {
            runTask(provider.fetchUpcomingEvents());
            QFAIL("the fetch should have failed");
        } catch (const CalendarProviderError &) {
            QFAIL("an unclassified failure must not be wrapped");
        } catch (const std::runtime_error &error) {
            QCOMPARE(QByteArray(error.what()), QByteArray("Connection reset by peer"));
        }

        provider.setFailure(std::make_exception_ptr(CalendarProviderError::notAuthorized()));
        QVERIFY_THROWS_EXCEPTION(CalendarProviderError, runTask(provider.fetchUpcomingEvents()));
        provider.setFailure(nullptr);
        QVERIFY(runTask(provider.fetchUpcomingEvents()).isEmpty());
    }

    void errorTexts_data()
    {
        QTest::addColumn<CalendarProviderError>("error");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("debug");

        const auto offline = std::make_exception_ptr(std::runtime_error("The Internet connection is offline."));
        QTest::newRow("networkError") << CalendarProviderError::networkError(offline)
                                      << "Network error: The Internet connection is offline."
                                      << "networkError(The Internet connection is offline.)";
        QTest::newRow("unknown") << CalendarProviderError::unknown(offline)
                                 << "An unexpected error occurred: The Internet connection is offline."
                                 << "unknown(The Internet connection is offline.)";
        QTest::newRow("notAuthorized") << CalendarProviderError::notAuthorized()
                                       << "Calendar access not authorized. Please grant permission in System Settings."
                                       << "notAuthorized";
        QTest::newRow("accessDenied") << CalendarProviderError::accessDenied() << "Access to calendar was denied."
                                      << "accessDenied";
        QTest::newRow("invalidResponse") << CalendarProviderError::invalidResponse()
                                         << "Received invalid response from calendar service."
                                         << "invalidResponse";
        QTest::newRow("tokenExpired") << CalendarProviderError::tokenExpired()
                                      << "Authentication expired. Please sign in again."
                                      << "tokenExpired";
        QTest::newRow("providerUnavailable")
            << CalendarProviderError::providerUnavailable() << "Calendar service is currently unavailable."
            << "providerUnavailable";
    }

    void errorTexts()
    {
        QFETCH(CalendarProviderError, error);
        QFETCH(QString, description);
        QFETCH(QString, debug);

        QCOMPARE(error.errorDescription(), description);
        QCOMPARE(error.debugDescription(), debug);
        QCOMPARE(QString::fromUtf8(error.what()), debug);
        QCOMPARE(localizedDescription(std::make_exception_ptr(error)), description);
    }

    void nestedErrorsDescribeTheirCause()
    {
        const auto inner = std::make_exception_ptr(CalendarProviderError::tokenExpired());
        const CalendarProviderError outer = CalendarProviderError::networkError(inner);
        QCOMPARE(outer.errorDescription(),
                 QStringLiteral("Network error: Authentication expired. Please sign in again."));
        QCOMPARE(outer.debugDescription(), QStringLiteral("networkError(tokenExpired)"));
    }

    void defaultConfigKeepsEverythingButAllDay()
    {
        const CalendarProviderConfig config = defaultCalendarProviderConfig;
        QCOMPARE(config.lookAheadHours, 24);
        QVERIFY(!config.includeAllDayEvents);
        QVERIFY(!config.includedCalendarIDs.has_value());
        QVERIFY(config.excludedCalendarIDs.isEmpty());
        QCOMPARE(config.minimumDurationMinutes, 0);

        ManualClock clock(QDateTime::currentDateTimeUtc());
        const DemoCalendarProvider provider(clock);
        QCOMPARE(provider.config(), defaultCalendarProviderConfig);
    }

    void demoCalendarIsPlacedAroundItsCreation()
    {
        const QDateTime created = berlin("2026-11-22T20:15:00");
        ManualClock clock(created.toUTC());
        const auto demo = DemoCalendarProvider::withDemoEvents(clock);
        clock.advance(std::chrono::minutes(1));

        const QList<CalendarEvent> events = runTask(demo->fetchUpcomingEvents());
        QHash<QString, CalendarEvent> byTitle;
        for (const CalendarEvent &e : events) {
            QVERIFY(e.id().startsWith(QStringLiteral("demo_")));
            byTitle.insert(e.title(), e);
        }
        QCOMPARE(events.size(), 5);

        const CalendarEvent zoom = byTitle.value(QStringLiteral("Design review"), events.first());
        QCOMPARE(zoom.startDate(), created.addSecs(3 * 60 + 10));
        QCOMPARE(zoom.meetingType(), MeetingType::zoom);
        const CalendarEvent teams = byTitle.value(QStringLiteral("Weekly team sync"), events.first());
        QCOMPARE(teams.startDate(), created.addSecs(40 * 60));
        QCOMPARE(teams.meetingType(), MeetingType::teams);
        const CalendarEvent meet = byTitle.value(QStringLiteral("Product roadmap chat"), events.first());
        QCOMPARE(meet.startDate(), berlin("2026-11-23T09:30:00"));
        QCOMPARE(meet.meetingType(), MeetingType::googleMeet);
        const CalendarEvent offsite = byTitle.value(QStringLiteral("Team offsite"), events.first());
        QVERIFY(offsite.isAllDay());
        QCOMPARE(offsite.startDate(), berlin("2026-11-22T00:00:00"));
        QCOMPARE(offsite.endDate(), berlin("2026-11-23T00:00:00"));
        const CalendarEvent budget = byTitle.value(QStringLiteral("Budget review"), events.first());
        QCOMPARE(budget.startDate(), created.addSecs(2 * 3600));
        QVERIFY(!budget.meetingURL());
        QVERIFY(!budget.meetingType());
    }
};

QTEST_GUILESS_MAIN(CalendarProviderTest)
#include "tst_calendarprovider.moc"
