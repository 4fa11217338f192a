#include "calendar/calendarprovidererror.h"
#include "capturedoutput.h"
#include "monitorharness.h"
#include "timezone.h"

#include <QSignalSpy>
#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);
const QByteArray leadFive = R"({"alertMinutesBefore": 5})";

QList<qint64> reportSeconds(const MonitorHarness &harness, const QDateTime &origin)
{
    QList<qint64> seconds;
    for (const auto &report : harness.reports) {
        seconds.append(origin.secsTo(report.at));
    }
    return seconds;
}

// A source that takes a while to answer, on the monitor's own clock.
class SlowProvider : public DemoCalendarProvider
{
public:
    explicit SlowProvider(Clock &clock) : DemoCalendarProvider(clock, QStringLiteral("slow")), m_clock(clock) { }

    QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override
    {
        co_await m_clock.sleep(5s);
        co_return co_await DemoCalendarProvider::fetchEvents(from, to);
    }

private:
    Clock &m_clock;
};

} // namespace

class EventMonitorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { pinTimeZone("UTC"); }

    void dueRangeBoundaries_data()
    {
        QTest::addColumn<int>("startOffset");
        QTest::addColumn<bool>("isAllDay");
        QTest::addColumn<QList<qint64>>("reportedAt");

        // The lead time is 5 minutes; the range is −60 s < start − now ≤ 300 s.
        QTest::newRow("starts in 3 min: at once") << 180 << false << QList<qint64>{0};
        QTest::newRow("exactly the lead time ahead: at once") << 300 << false << QList<qint64>{0};
        QTest::newRow("one second beyond the lead time") << 301 << false << QList<qint64>{1};
        QTest::newRow("an hour ahead: at its alert time") << 3600 << false << QList<qint64>{3300};
        QTest::newRow("began 30 s ago: at once") << -30 << false << QList<qint64>{0};
        QTest::newRow("began 59 s ago: at once") << -59 << false << QList<qint64>{0};
        QTest::newRow("began exactly 60 s ago: never") << -60 << false << QList<qint64>{};
        QTest::newRow("began 61 s ago: never") << -61 << false << QList<qint64>{};
        QTest::newRow("all-day: never") << 600 << true << QList<qint64>{};
    }

    void dueRangeBoundaries()
    {
        QFETCH(int, startOffset);
        QFETCH(bool, isAllDay);
        QFETCH(QList<qint64>, reportedAt);

        MonitorHarness harness(t0, leadFive);
        harness.addProvider(u"a"_s, u"A"_s)
            .setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(startOffset), 3600, isAllDay)});
        harness.start();
        if (isAllDay) {
            // Only the countdown tick and the polling sleep: no alert timer.
            QCOMPARE(harness.clock.pendingTimerCount(), 2);
        }
        harness.run(2h);
        QCOMPARE(reportSeconds(harness, t0), reportedAt);
    }

    void eventsWithTheSameStartAreReportedInListOrder()
    {
        MonitorHarness harness(t0);
        const QDateTime start = t0.addSecs(600);
        harness.addProvider(u"a"_s, u"A"_s).setEvents({makeEvent(u"a"_s, u"1"_s, start)});
        harness.addProvider(u"b"_s, u"B"_s)
            .setEvents({makeEvent(u"b"_s, u"2"_s, start), makeEvent(u"b"_s, u"0"_s, start)});
        harness.start();
        harness.run(15min);

        QStringList ids;
        for (const auto &report : std::as_const(harness.reports)) {
            QCOMPARE(report.at, start.addSecs(-180));
            ids << report.event.id();
        }
        QCOMPARE(ids, (QStringList{u"a_1"_s, u"b_2"_s, u"b_0"_s}));
    }

    void answersToAnAlert_data()
    {
        QTest::addColumn<int>("answeredAt");
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QList<qint64>>("reportedAt");

        // Times are seconds from the start; the first report comes at −180. Minutes −1 stands for dismiss.
        QTest::newRow("snooze 1 at the alert") << -180 << 1 << QList<qint64>{-180, -120};
        QTest::newRow("snooze 0 at the alert") << -180 << 0 << QList<qint64>{-180, -30};
        QTest::newRow("snooze 0 after the start: at once") << 20 << 0 << QList<qint64>{-180, 20};
        QTest::newRow("snooze 0 at 59 s: at once") << 59 << 0 << QList<qint64>{-180, 59};
        QTest::newRow("snooze 0 at 61 s: too late") << 61 << 0 << QList<qint64>{-180};
        QTest::newRow("snooze 2 two minutes before: at the start") << -120 << 2 << QList<qint64>{-180, 0};
        QTest::newRow("snooze 5 two minutes before: ends after the range") << -120 << 5 << QList<qint64>{-180};
        QTest::newRow("dismiss") << -180 << -1 << QList<qint64>{-180};
    }

    void answersToAnAlert()
    {
        QFETCH(int, answeredAt);
        QFETCH(int, minutes);
        QFETCH(QList<qint64>, reportedAt);

        MonitorHarness harness(t0);
        const QDateTime start = t0.addSecs(600);
        harness.addProvider(u"a"_s, u"A"_s).setEvents({makeEvent(u"a"_s, u"e"_s, start)});
        harness.start();
        harness.runUntil(start.addSecs(answeredAt));
        QCOMPARE(harness.reports.size(), 1);
        const CalendarEvent event = harness.reports.first().event;
        if (minutes < 0) {
            harness.monitor.dismiss(event);
        } else {
            harness.monitor.snooze(event, minutes);
        }
        harness.runUntil(start.addSecs(600));
        QCOMPARE(reportSeconds(harness, start), reportedAt);
    }

    void aFailedCycleForgetsTheMarks()
    {
        MonitorHarness harness(t0);
        DemoCalendarProvider &work = harness.addProvider(u"work"_s, u"Work"_s);
        DemoCalendarProvider &home = harness.addProvider(u"home"_s, u"Home"_s);
        work.setEvents({makeEvent(u"work"_s, u"standup"_s, t0.addSecs(120))});
        home.setEvents({makeEvent(u"home"_s, u"dentist"_s, t0.addSecs(7200))});
        harness.start();
        QCOMPARE(harness.reports.size(), 1);
        harness.monitor.dismiss(harness.reports.first().event);

        QSignalSpy errors(&harness.monitor, &EventMonitor::lastErrorChanged);
        work.setFailure(std::make_exception_ptr(CalendarProviderError::providerUnavailable()));
        CapturedOutput output;
        harness.run(30s);
        QCOMPARE(output.lines(), QStringList{u"Error fetching from Work: providerUnavailable"_s});
        // Set while the fetch went on, cleared when it completed.
        QCOMPARE(errors.size(), 2);
        QVERIFY(!harness.monitor.lastError());
        QCOMPARE(harness.monitor.upcomingEvents().size(), 1);
        QCOMPARE(harness.monitor.upcomingEvents().first().id(), u"home_dentist"_s);
        QCOMPARE(harness.monitor.lastFetchTime(), t0.addSecs(30));

        // Back under the same id, it is new: its dismissal went with it.
        work.setFailure(nullptr);
        harness.run(30s);
        QCOMPARE(reportSeconds(harness, t0), (QList<qint64>{0, 60}));
    }

    void raisingTheLeadTimeReportsAtOnce()
    {
        MonitorHarness harness(t0, R"({"alertMinutesBefore": 5, "pollingIntervalSeconds": 300})");
        DemoCalendarProvider &provider = harness.addProvider(u"a"_s, u"A"_s);
        provider.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(480))});
        harness.start();
        harness.run(10s);
        QVERIFY(harness.reports.isEmpty());
        harness.preferences.setAlertMinutesBefore(10);
        harness.settle();
        QCOMPARE(reportSeconds(harness, t0), QList<qint64>{10});
        QCOMPARE(provider.fetchCount(), 1);
    }

    void aSecondStartOnlyReplacesTheProviders()
    {
        MonitorHarness harness(t0);
        DemoCalendarProvider &first = harness.addProvider(u"a"_s, u"A"_s);
        DemoCalendarProvider second(harness.clock, u"b"_s);
        harness.monitor.startMonitoring({&first});
        harness.run(30s);
        harness.monitor.startMonitoring({&second});
        QCOMPARE(second.fetchCount(), 0);
        harness.run(60s);
        QCOMPARE(first.fetchCount(), 2);
        QCOMPARE(second.fetchCount(), 2);
    }

    void aSnoozeEndingBeforeTheRangeWaitsForTheLeadTime_data()
    {
        QTest::addColumn<int>("movedStart");
        QTest::addColumn<int>("loweredLead");
        QTest::addColumn<int>("reportedAgainAt");

        // Lead 10 min, event at 20:00: reported at 10:00 and snoozed 2 minutes at 10:05; then at 11:00 either the
        // event moves later or the lead time shrinks, so 12:05 falls before the range opens.
        QTest::newRow("the event moved to 40:00") << 2400 << 0 << 1800;
        QTest::newRow("the lead time lowered to 3 minutes") << 0 << 3 << 1020;
    }

    void aSnoozeEndingBeforeTheRangeWaitsForTheLeadTime()
    {
        QFETCH(int, movedStart);
        QFETCH(int, loweredLead);
        QFETCH(int, reportedAgainAt);

        MonitorHarness harness(t0, R"({"alertMinutesBefore": 10})");
        DemoCalendarProvider &provider = harness.addProvider(u"a"_s, u"A"_s);
        provider.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(1200))});
        harness.start();
        // Off the polling grid, so no fetch drops the passed snooze instant right when it passes.
        harness.runUntil(t0.addSecs(605));
        QCOMPARE(harness.reports.size(), 1);
        harness.monitor.snooze(harness.reports.first().event, 2);
        harness.runUntil(t0.addSecs(660));
        if (movedStart) {
            provider.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(movedStart))});
        } else {
            harness.preferences.setAlertMinutesBefore(loweredLead);
        }
        harness.runUntil(t0.addSecs(3000));
        QCOMPARE(reportSeconds(harness, t0), (QList<qint64>{600, reportedAgainAt}));
    }

    void nonPositivePollingIntervalsPollEveryTenSeconds_data()
    {
        QTest::addColumn<QByteArray>("settings");
        QTest::newRow("zero") << QByteArray(R"({"pollingIntervalSeconds": 0})");
        QTest::newRow("negative") << QByteArray(R"({"pollingIntervalSeconds": -30})");
    }

    void nonPositivePollingIntervalsPollEveryTenSeconds()
    {
        QFETCH(QByteArray, settings);
        MonitorHarness harness(t0, settings);
        DemoCalendarProvider &provider = harness.addProvider(u"a"_s, u"A"_s);
        harness.start();
        harness.run(60s);
        QCOMPARE(provider.fetchCount(), 7);
    }

    void wallClockJumps_data()
    {
        QTest::addColumn<int>("jumpedAt");
        QTest::addColumn<int>("jumpedTo");
        QTest::addColumn<QList<qint64>>("reportedAt");

        // The event starts at 10:00 with the standard 3 minutes' lead: due from 7:00 until 11:00.
        QTest::newRow("forward into the range: at once") << 60 << 480 << QList<qint64>{480};
        QTest::newRow("forward past the range: never") << 60 << 720 << QList<qint64>{};
        QTest::newRow("back an hour: still at 7:00") << 60 << -3600 << QList<qint64>{420};
        QTest::newRow("back after the alert: not again") << 500 << 0 << QList<qint64>{420};
    }

    void wallClockJumps()
    {
        QFETCH(int, jumpedAt);
        QFETCH(int, jumpedTo);
        QFETCH(QList<qint64>, reportedAt);

        MonitorHarness harness(t0, R"({"pollingIntervalSeconds": 300})");
        DemoCalendarProvider &provider = harness.addProvider(u"a"_s, u"A"_s);
        provider.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(600))});
        harness.start();
        harness.runUntil(t0.addSecs(jumpedAt));
        const int fetches = provider.fetchCount();
        harness.clock.jumpTo(t0.addSecs(jumpedTo));
        MonitorHarness::settle();
        QCOMPARE(provider.fetchCount(), fetches + 1);
        harness.runUntil(t0.addSecs(1200));
        QCOMPARE(reportSeconds(harness, t0), reportedAt);
    }

    void stoppingEndsPollingAndTimers()
    {
        MonitorHarness harness(t0);
        DemoCalendarProvider &provider = harness.addProvider(u"a"_s, u"A"_s);
        provider.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(600))});
        harness.start();
        harness.monitor.stopMonitoring();
        QVERIFY(!harness.monitor.isRunning());
        QCOMPARE(harness.clock.pendingTimerCount(), 0);
        harness.run(15min);
        QCOMPARE(provider.fetchCount(), 1);
        QVERIFY(harness.reports.isEmpty());

        harness.start();
        QCOMPARE(provider.fetchCount(), 2);
    }

    void theMonitorMayGoWhileAProviderIsAnswering()
    {
        MonitorHarness harness(t0);
        SlowProvider slow(harness.clock);
        slow.setEvents({makeEvent(u"slow"_s, u"e"_s, t0.addSecs(60))});
        auto monitor = std::make_unique<EventMonitor>(harness.clock, harness.preferences);
        int reports = 0;
        monitor->setOnEventApproaching([&](const CalendarEvent &) { ++reports; });
        monitor->startMonitoring({&slow});
        monitor.reset();
        // Only the provider's own wait is left; its answer must find nobody.
        QCOMPARE(harness.clock.pendingTimerCount(), 1);
        harness.run(1min);
        QCOMPARE(slow.fetchCount(), 1);
        QCOMPARE(reports, 0);
        QCOMPARE(harness.clock.pendingTimerCount(), 0);
    }
};

QTEST_GUILESS_MAIN(EventMonitorTest)
#include "tst_eventmonitor.moc"
