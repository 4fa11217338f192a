#include "calendar/calendarprovidererror.h"
#include "calendar/democalendarprovider.h"
#include "platform/manualclock.h"
#include "tasks.h"
#include "timezone.h"

#include <QTest>

#include <stdexcept>

using namespace bellwick;
using bellwick::test::runTask;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(bellwick::CalendarProviderError)

namespace {

QDateTime berlin(const char *iso)
{
    return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODate);
}

CalendarEvent makeEvent(const QString &id, const QDateTime &start, int minutes)
{
    return CalendarEvent({.providerID = u"demo"_s,
                          .originalID = id,
                          .title = id,
                          .startDate = start,
                          .endDate = start.addSecs(minutes * 60)});
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

        QTest::newRow("late evening") << berlin("2026-11-22T23:30:00") << berlin("2026-11-23T23:30:00");
        QTest::newRow("into summer time: 23 hours") << berlin("2026-03-28T23:30:00") << berlin("2026-03-29T23:30:00");
        QTest::newRow("into winter time: 25 hours") << berlin("2026-10-24T23:30:00") << berlin("2026-10-25T23:30:00");
        QTest::newRow("year end") << berlin("2026-12-31T23:30:00") << berlin("2027-01-01T23:30:00");
        QTest::newRow("leap day") << berlin("2028-02-28T12:00:00") << berlin("2028-02-29T12:00:00");
        QTest::newRow("wall time that does not exist")
            << berlin("2026-03-28T02:30:00") << berlin("2026-03-29T03:30:00");
    }

    void windowIsOneWallClockDay()
    {
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, end);

        ManualClock clock(now.toUTC());
        DemoCalendarProvider provider(clock);
        // The look-ahead is carried along but never narrows the day.
        provider.setConfig({2, false, std::nullopt, {}, 0});
        runTask(provider.fetchUpcomingEvents());
        QCOMPARE(provider.lastWindow(), std::pair(now, end));
    }

    void upcomingKeepsOnlyEventsInTheWindow()
    {
        const QDateTime now = berlin("2026-11-22T09:00:00");
        ManualClock clock(now.toUTC());
        DemoCalendarProvider provider(clock);
        provider.setEvents({
            makeEvent(u"ended"_s, now.addSecs(-3600), 60),
            makeEvent(u"running"_s, now.addSecs(-600), 30),
            makeEvent(u"soon"_s, now.addSecs(600), 30),
            makeEvent(u"tomorrow early"_s, now.addSecs(23 * 3600), 30),
            makeEvent(u"too far"_s, now.addSecs(24 * 3600), 30),
        });
        QStringList titles;
        for (const CalendarEvent &event : runTask(provider.fetchUpcomingEvents())) {
            titles << event.title();
        }
        QCOMPARE(titles, (QStringList{u"running"_s, u"soon"_s, u"tomorrow early"_s}));
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
        // Nothing scheduled is an empty list, not a failure.
        provider.setFailure(nullptr);
        QVERIFY(runTask(provider.fetchUpcomingEvents()).isEmpty());
    }

    void errorTexts_data()
    {
        QTest::addColumn<CalendarProviderError>("error");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("debug");

        using Error = CalendarProviderError;
        const auto offline = std::make_exception_ptr(std::runtime_error("The Internet connection is offline."));
        QTest::newRow("networkError") << Error::networkError(offline)
                                      << u"Network error: The Internet connection is offline."_s
                                      << u"networkError(The Internet connection is offline.)"_s;
        QTest::newRow("unknown") << Error::unknown(offline)
                                 << u"An unexpected error occurred: The Internet connection is offline."_s
                                 << u"unknown(The Internet connection is offline.)"_s;
        QTest::newRow("notAuthorized")
            << Error::notAuthorized()
            << u"Calendar access not authorized. Please grant permission in System Settings."_s << u"notAuthorized"_s;
        QTest::newRow("accessDenied") << Error::accessDenied() << u"Access to calendar was denied."_s
                                      << u"accessDenied"_s;
        QTest::newRow("invalidResponse") << Error::invalidResponse()
                                         << u"Received invalid response from calendar service."_s
                                         << u"invalidResponse"_s;
        QTest::newRow("tokenExpired") << Error::tokenExpired() << u"Authentication expired. Please sign in again."_s
                                      << u"tokenExpired"_s;
        QTest::newRow("providerUnavailable")
            << Error::providerUnavailable() << u"Calendar service is currently unavailable."_s
            << u"providerUnavailable"_s;
        QTest::newRow("nested: described by its cause")
            << Error::networkError(std::make_exception_ptr(Error::tokenExpired()))
            << u"Network error: Authentication expired. Please sign in again."_s << u"networkError(tokenExpired)"_s;
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

    void demoCalendarIsPlacedAroundItsCreation()
    {
        const QDateTime created = berlin("2026-11-22T20:15:00");
        ManualClock clock(created.toUTC());
        const auto demo = DemoCalendarProvider::withDemoEvents(clock);
        clock.advance(std::chrono::minutes(1));

        QStringList listed;
        for (const CalendarEvent &e : runTask(demo->fetchUpcomingEvents())) {
            QVERIFY(e.id().startsWith(u"demo_"_s));
            listed << e.title() + u' ' + e.startDate().toString(Qt::ISODate) + u' ' + e.endDate().toString(Qt::ISODate)
                          + (e.isAllDay() ? u" all-day " : u" ")
                          + (e.meetingType() ? rawValue(*e.meetingType()) : u"-"_s);
        }
        QCOMPARE(listed, (QStringList{
                             u"Design review 2026-11-22T19:18:10Z 2026-11-22T19:48:10Z Zoom"_s,
                             u"Weekly team sync 2026-11-22T19:55:00Z 2026-11-22T20:25:00Z Microsoft Teams"_s,
                             u"Budget review 2026-11-22T21:15:00Z 2026-11-22T22:15:00Z -"_s,
                             u"Product roadmap chat 2026-11-23T08:30:00Z 2026-11-23T09:00:00Z Google Meet"_s,
                             u"Team offsite 2026-11-21T23:00:00Z 2026-11-22T23:00:00Z all-day -"_s,
                         }));
    }
};

QTEST_GUILESS_MAIN(CalendarProviderTest)
#include "tst_calendarprovider.moc"
