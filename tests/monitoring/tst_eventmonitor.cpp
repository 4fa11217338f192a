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
using Seconds = QList<double>;

} // namespace

class EventMonitorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { pinTimeZone("UTC"); }

    void dueRangeBoundaries_data()
    {
        QTest::addColumn<QByteArray>("lead");
        QTest::addColumn<int>("startOffset");
        QTest::addColumn<int>("duration");
        QTest::addColumn<bool>("isAllDay");
        QTest::addColumn<int>("answerDelay");
        QTest::addColumn<Seconds>("reportedAt");

        // With a lead time of 5 minutes the range is −60 s < start − now ≤ 300 s.
        const QByteArray five = "5";
        QTest::newRow("exactly the lead time ahead: at once") << five << 300 << 3600 << false << 0 << Seconds{0};
        QTest::newRow("one second beyond the lead time") << five << 301 << 3600 << false << 0 << Seconds{1};
        QTest::newRow("an hour ahead: at its alert time") << five << 3600 << 3600 << false << 0 << Seconds{3300};
        QTest::newRow("began 59 s ago: at once") << five << -59 << 3600 << false << 0 << Seconds{0};
        QTest::newRow("began exactly 60 s ago: never") << five << -60 << 3600 << false << 0 << Seconds{};
        QTest::newRow("all-day: never") << five << 600 << 3600 << true << 0 << Seconds{};
        // The calendar answers 5 s after it was asked: the list keeps what ends after the answer.
        QTest::newRow("ended exactly at the answer: dropped") << five << -25 << 30 << false << 5 << Seconds{};
        QTest::newRow("ends a second after the answer: kept") << five << -25 << 31 << false << 5 << Seconds{5};
        // Stored lead times beyond what the settings window writes are held to 1 to 15 minutes.
        QTest::newRow("lead 0: one minute") << QByteArray("0") << 3600 << 3600 << false << 0 << Seconds{3540};
        QTest::newRow("lowest 64-bit lead")
            << QByteArray("-9223372036854775808") << 3600 << 3600 << false << 0 << Seconds{3540};
        QTest::newRow("lead 20: fifteen minutes") << QByteArray("20") << 3600 << 3600 << false << 0 << Seconds{2700};
        QTest::newRow("highest 64-bit lead")
            << QByteArray("9223372036854775807") << 3600 << 3600 << false << 0 << Seconds{2700};
    }

    void dueRangeBoundaries()
    {
        QFETCH(QByteArray, lead);
        QFETCH(int, startOffset);
        QFETCH(int, duration);
        QFETCH(bool, isAllDay);
        QFETCH(int, answerDelay);
        QFETCH(Seconds, reportedAt);

        MonitorHarness harness(t0, R"({"alertMinutesBefore": )" + lead + '}');
        ScriptedProvider &calendar = harness.addProvider(u"a"_s);
        calendar.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(startOffset), duration, isAllDay)});
        calendar.setAnswerDelay(std::chrono::seconds(answerDelay));
        harness.start();
        if (isAllDay) {
            // Only the polling sleep: no alert timer.
            QCOMPARE(harness.clock.pendingTimerCount(), 1);
        }
        harness.run(2h);
        QCOMPARE(harness.reportSeconds(t0), reportedAt);
    }

    void eventsWithTheSameStartAreReportedInListOrder()
    {
        MonitorHarness harness(t0);
        const QDateTime start = t0.addSecs(600);
        harness.addProvider(u"a"_s).setEvents({makeEvent(u"a"_s, u"1"_s, start)});
        harness.addProvider(u"b"_s).setEvents({makeEvent(u"b"_s, u"2"_s, start), makeEvent(u"b"_s, u"0"_s, start)});
        harness.start();
        harness.run(15min);

        QCOMPARE(harness.reportSeconds(start), (Seconds{-180, -180, -180}));
        QCOMPARE(harness.reported,
                 (QList<CalendarEvent>{makeEvent(u"a"_s, u"1"_s, start), makeEvent(u"b"_s, u"2"_s, start),
                                       makeEvent(u"b"_s, u"0"_s, start)}));
    }

    void answersMovesAndJumps_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<Seconds>("reportedAt");

        // Steps at seconds from the start. The lead time is 3 minutes, so the first report comes at −180; a fetch
        // every 30 s sees a move made at −170 at −150. Answers take the event as it was first reported.
        QTest::newRow("snooze 1 at the alert") << "-180 snooze 1" << Seconds{-180, -120};
        QTest::newRow("snooze 0 at the alert") << "-180 snooze 0" << Seconds{-180, -30};
        QTest::newRow("snooze 0 at 59 s: at once") << "59 snooze 0" << Seconds{-180, 59};
        QTest::newRow("snooze 0 at 61 s: too late") << "61 snooze 0" << Seconds{-180};
        QTest::newRow("snooze 2 two minutes before: at the start") << "-120 snooze 2" << Seconds{-180, 0};
        QTest::newRow("snooze 5 two minutes before: after the range") << "-120 snooze 5" << Seconds{-180};
        QTest::newRow("dismiss") << "-180 dismiss" << Seconds{-180};
        QTest::newRow("dismiss, then snooze: still dismissed") << "-180 dismiss; -180 snooze 1" << Seconds{-180};
        QTest::newRow("lead raised before the alert: at once") << "-590 lead 10" << Seconds{-590};
        QTest::newRow("snoozed, then the lead lowered: at the new lead")
            << "-180 snooze 1; -170 lead 1" << Seconds{-180, -60};
        QTest::newRow("unanswered, moved an hour later: again then") << "-170 move 3600" << Seconds{-180, 3420};
        QTest::newRow("dismissed, moved four hours later: again then")
            << "-180 dismiss; -170 move 14400" << Seconds{-180, 14220};
        QTest::newRow("snoozed past the range, moved earlier: at the next fetch")
            << "-180 snooze 15; -170 move -60" << Seconds{-180, -150};
        QTest::newRow("snoozed past the range, moved away and back: afresh")
            << "-180 snooze 15; -170 move 3600; -140 move 0" << Seconds{-180, -120};
        QTest::newRow("dismissed, retitled only: still dismissed") << "-180 dismiss; -170 move 0" << Seconds{-180};
        QTest::newRow("moved, then dismissed as reported: the new start alerts")
            << "-175 move 3600; -140 dismiss" << Seconds{-180, 3420};
        // A jump sets the wall clock to a time from the start, and brings a fetch at once.
        QTest::newRow("jump into the range: at once") << "-540 jump -120" << Seconds{-120};
        QTest::newRow("jump past the range: never") << "-540 jump 120" << Seconds{};
        QTest::newRow("jump back an hour: still at its time") << "-540 jump -4200" << Seconds{-180};
        QTest::newRow("jump back after the alert: not again") << "-100 jump -600" << Seconds{-180};
    }

    void answersMovesAndJumps()
    {
        QFETCH(QString, script);
        QFETCH(Seconds, reportedAt);

        MonitorHarness harness(t0);
        const QDateTime start = t0.addSecs(600);
        ScriptedProvider &calendar = harness.addProvider(u"a"_s);
        int version = 0;
        const auto moveBy = [&](int seconds) {
            calendar.setEvents({CalendarEvent({.providerID = u"a"_s,
                                               .originalID = u"e"_s,
                                               .title = u"version %1"_s.arg(++version),
                                               .startDate = start.addSecs(seconds),
                                               .endDate = start.addSecs(seconds + 1800)})});
        };
        moveBy(0);
        harness.start();
        for (const QString &step : script.split(u"; "_s)) {
            const QStringList words = step.split(u' ');
            harness.runUntil(start.addSecs(words.at(0).toInt()));
            const int value = words.value(2).toInt();
            if (words.at(1) == u"dismiss"_s) {
                harness.monitor.dismiss(harness.reported.first());
            } else if (words.at(1) == u"snooze"_s) {
                harness.monitor.snooze(harness.reported.first(), value);
            } else if (words.at(1) == u"lead"_s) {
                harness.preferences.setAlertMinutesBefore(value);
            } else if (words.at(1) == u"move"_s) {
                moveBy(value);
            } else {
                harness.clock.jumpTo(start.addSecs(value));
                MonitorHarness::settle();
                QCOMPARE(harness.fetchTimes.last(), harness.clock.now());
            }
        }
        harness.runUntil(start.addSecs(5 * 3600));
        QCOMPARE(harness.reportSeconds(start), reportedAt);
    }

    void aFailedCycleForgetsTheMarks()
    {
        MonitorHarness harness(t0);
        ScriptedProvider &work = harness.addProvider(u"work"_s, u"Work"_s);
        ScriptedProvider &home = harness.addProvider(u"home"_s, u"Home"_s);
        work.setEvents({makeEvent(u"work"_s, u"standup"_s, t0.addSecs(120))});
        home.setEvents({makeEvent(u"home"_s, u"dentist"_s, t0.addSecs(7200))});
        harness.start();
        QCOMPARE(harness.reported.size(), 1);
        harness.monitor.dismiss(harness.reported.first());

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
        QCOMPARE(harness.reportSeconds(t0), (Seconds{0, 60}));
    }

    void pollingFollowsTheStoredInterval_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<int>("changedAt100To");
        QTest::addColumn<Seconds>("fetchedAt");

        // Stored intervals beyond what the settings window writes are held to 10 to 300 seconds.
        QTest::newRow("zero") << QByteArray("0") << 0 << Seconds{0, 10, 20};
        QTest::newRow("lowest 64-bit") << QByteArray("-9223372036854775808") << 0 << Seconds{0, 10, 20};
        QTest::newRow("600") << QByteArray("600") << 0 << Seconds{0, 300, 600};
        QTest::newRow("highest 64-bit") << QByteArray("9223372036854775807") << 0 << Seconds{0, 300, 600};
        // A change applies from the next sleep on.
        QTest::newRow("lowered during a sleep") << QByteArray("300") << 10 << Seconds{0, 300, 310, 320};
    }

    void pollingFollowsTheStoredInterval()
    {
        QFETCH(QByteArray, stored);
        QFETCH(int, changedAt100To);
        QFETCH(Seconds, fetchedAt);

        MonitorHarness harness(t0, R"({"pollingIntervalSeconds": )" + stored + '}');
        harness.addProvider(u"a"_s);
        harness.start();
        if (changedAt100To != 0) {
            harness.runUntil(t0.addSecs(100));
            harness.preferences.setPollingIntervalSeconds(changedAt100To);
        }
        harness.runUntil(t0.addSecs(qint64(fetchedAt.last()) + 5));
        QCOMPARE(harness.fetchSeconds(t0), fetchedAt);
    }

    void calendarChangesAreFetchedWithinASecond()
    {
        MonitorHarness harness(t0, R"({"pollingIntervalSeconds": 300})");
        ScriptedProvider &calendar = harness.addProvider(u"a"_s);
        harness.start();

        // A burst of notices of an edit that makes a meeting due: one fetch, and the alert comes with it.
        harness.runUntil(t0.addSecs(100));
        calendar.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(200))});
        calendar.announceChange();
        calendar.announceChange();
        harness.run(100ms);
        calendar.announceChange();

        // Notices while a fetch is under way bring one more fetch after it; polling then goes on from there.
        harness.runUntil(t0.addSecs(200));
        calendar.setAnswerDelay(5s);
        calendar.announceChange();
        harness.runUntil(t0.addSecs(202));
        calendar.announceChange();
        calendar.announceChange();
        harness.runUntil(t0.addSecs(600));
        QCOMPARE(harness.reportSeconds(t0), Seconds{100.25});

        // A second start only replaces the calendars: the dropped one is no longer heard, and no second loop polls.
        ScriptedProvider &other = harness.addProvider(u"b"_s);
        harness.monitor.startMonitoring({&other});
        calendar.announceChange();
        harness.runUntil(t0.addSecs(1200));
        QCOMPARE(harness.fetchSeconds(t0), (Seconds{0, 100.25, 205.25, 210.25, 515.25, 815.25, 1115.25}));
        QCOMPARE(other.fetchCount(), 2);
    }

    void timersRunOnlyWhileNeeded()
    {
        MonitorHarness harness(t0);
        ScriptedProvider &calendar = harness.addProvider(u"a"_s);
        calendar.setEvents({makeEvent(u"a"_s, u"e"_s, t0.addSecs(3600))});
        harness.start();
        // Nobody shows a countdown: only the polling sleep and the alert timer wait.
        QCOMPARE(harness.clock.pendingTimerCount(), 2);

        int ticks = 0;
        auto listener = std::make_unique<QObject>();
        connect(&harness.monitor, &EventMonitor::ticked, listener.get(), [&] { ++ticks; });
        harness.run(3500ms);
        QCOMPARE(ticks, 3);

        harness.monitor.stopMonitoring();
        QVERIFY(!harness.monitor.isRunning());
        QCOMPARE(harness.clock.pendingTimerCount(), 0);
        harness.run(1h);
        QCOMPARE(calendar.fetchCount(), 1);
        QVERIFY(harness.reported.isEmpty());

        harness.start();
        QCOMPARE(calendar.fetchCount(), 2);
        harness.run(1s);
        QCOMPARE(ticks, 4);
        disconnect(&harness.monitor, nullptr, listener.get(), nullptr);
        harness.settle();
        QCOMPARE(harness.clock.pendingTimerCount(), 1);

        connect(&harness.monitor, &EventMonitor::ticked, listener.get(), [&] { ++ticks; });
        harness.run(1s);
        QCOMPARE(ticks, 5);
        listener.reset();
        harness.settle();
        QCOMPARE(harness.clock.pendingTimerCount(), 1);
    }

    void theMonitorMayGoWhileAProviderIsAnswering()
    {
        MonitorHarness harness(t0);
        ScriptedProvider slow(harness.clock, u"slow"_s);
        slow.setAnswerDelay(5s);
        slow.setEvents({makeEvent(u"slow"_s, u"e"_s, t0.addSecs(60))});
        auto monitor = std::make_unique<EventMonitor>(harness.clock, harness.preferences);
        int reports = 0;
        monitor->setOnEventApproaching([&](const CalendarEvent &) { ++reports; });
        monitor->startMonitoring({&slow});
        monitor.reset();
        // Only the provider's own wait is left; its answer and its change notices must find nobody.
        QCOMPARE(harness.clock.pendingTimerCount(), 1);
        slow.announceChange();
        harness.run(1min);
        QCOMPARE(slow.fetchCount(), 1);
        QCOMPARE(reports, 0);
        QCOMPARE(harness.clock.pendingTimerCount(), 0);
    }
};

QTEST_GUILESS_MAIN(EventMonitorTest)
#include "tst_eventmonitor.moc"
