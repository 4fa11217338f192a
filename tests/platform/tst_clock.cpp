#include "platform/manualclock.h"
#include "platform/systemclock.h"
#include "tasks.h"

#include <QCoroTask>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QDateTime start(QDate(2026, 11, 22), QTime(9, 0), Qt::UTC);

QCoro::Task<QDateTime> sleepThenRead(Clock &clock, std::chrono::milliseconds duration)
{
    co_await clock.sleep(duration);
    co_return clock.now();
}

} // namespace

class ClockTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void manualTimersFireInOrderAndMayCancelEachOther()
    {
        ManualClock clock(start);
        QStringList fired;
        const auto record = [&](const char *name) {
            return
                [&fired, &clock, name] { fired << u"%1@%2"_s.arg(QLatin1String(name)).arg(start.secsTo(clock.now())); };
        };
        const auto overdue = clock.callAt(start.addSecs(-60), record("overdue"));
        const auto late = clock.callAfter(30s, record("late"));
        const auto tieFirst = clock.callAfter(20s, record("tie1"));
        const auto tieSecond = clock.callAfter(20s, record("tie2"));
        const auto beyond = clock.callAfter(31s, record("beyond"));
        std::unique_ptr<ClockTimer> victim = clock.callAfter(25s, record("victim"));
        std::unique_ptr<ClockTimer> chained;
        std::unique_ptr<ClockTimer> self = clock.callAfter(10s, [&] {
            fired << u"self"_s;
            victim.reset();
            self.reset();
            chained = clock.callAfter(5s, record("chained"));
        });
        QCOMPARE(late->deadline(), start.addSecs(30));
        QVERIFY(fired.isEmpty());

        clock.advance(30s);

        QCOMPARE(fired,
                 (QStringList{u"overdue@0"_s, u"self"_s, u"chained@15"_s, u"tie1@20"_s, u"tie2@20"_s, u"late@30"_s}));
        QCOMPARE(clock.now(), start.addSecs(30));
        QCOMPARE(clock.nextDeadline(), start.addSecs(31));
        QCOMPARE(clock.pendingTimerCount(), 1);
    }

    void jumpsSkipTheTimersOnTheWay_data()
    {
        QTest::addColumn<int>("jumpSeconds");
        QTest::addColumn<QStringList>("fired");
        QTest::addColumn<int>("lateTicks");
        QTest::addColumn<qint64>("nextTickSeconds");

        // Overdue timers fire once, late, at the new time; a tick far ahead restarts its interval from there.
        QTest::newRow("forward over both deadlines") << 3600 << QStringList{u"30@3600"_s, u"120@3600"_s} << 1 << 3610LL;
        QTest::newRow("forward between them") << 65 << QStringList{u"30@65"_s} << 1 << 70LL;
        QTest::newRow("forward before any") << 5 << QStringList{} << 0 << 10LL;
        QTest::newRow("back an hour") << -3600 << QStringList{} << 0 << -3590LL;
        QTest::newRow("back a little") << -5 << QStringList{} << 0 << 5LL;
    }

    void jumpsSkipTheTimersOnTheWay()
    {
        QFETCH(int, jumpSeconds);
        QFETCH(QStringList, fired);
        QFETCH(int, lateTicks);
        QFETCH(qint64, nextTickSeconds);

        ManualClock clock(start);
        QStringList calls;
        auto record = [&](int deadline) {
            return [&calls, &clock, deadline] { calls << u"%1@%2"_s.arg(deadline).arg(start.secsTo(clock.now())); };
        };
        const auto first = clock.callAt(start.addSecs(30), record(30));
        const auto second = clock.callAt(start.addSecs(120), record(120));
        int ticks = 0;
        const auto every = clock.callEvery(10s, [&] { ++ticks; });
        int announced = 0;
        connect(&clock, &Clock::jumped, this, [&] {
            QVERIFY(calls.isEmpty());
            ++announced;
        });

        clock.jumpTo(start.addSecs(jumpSeconds));
        QCOMPARE(announced, 1);
        QCOMPARE(calls, fired);
        QCOMPARE(ticks, lateTicks);
        QCOMPARE(clock.now(), start.addSecs(jumpSeconds));
        QCOMPARE(start.secsTo(every->deadline()), nextTickSeconds);
    }

    void manualSleepResumesAtItsDeadlineAlsoDetached()
    {
        ManualClock clock(start);
        QCoro::Task<QDateTime> sleeping = sleepThenRead(clock, 90s);
        {
            // Nobody awaits this one; it still completes and leaves no timer behind.
            QCoro::Task<QDateTime> detached = sleepThenRead(clock, 90s);
        }
        clock.advance(89s);
        QVERIFY(!sleeping.isReady());
        QCOMPARE(clock.pendingTimerCount(), 2);
        clock.advance(1s);
        QVERIFY(sleeping.isReady());
        QCOMPARE(clock.pendingTimerCount(), 0);
        QCOMPARE(test::runTask(std::move(sleeping)), start.addSecs(90));
    }

    void systemTimersFireAtWallDeadlinesAndFollowAJump()
    {
        SystemClock clock;
        const QDateTime before = clock.now();
        const QDateTime woke = test::runTask(sleepThenRead(clock, 60ms));
        QVERIFY2(woke >= before.addMSecs(60), qPrintable(QString::number(before.msecsTo(woke))));

        int ticks = 0;
        int overdueCalls = 0;
        int awayTicks = 0;
        int laterCalls = 0;
        QEventLoop loop;
        const auto every = clock.callEvery(20ms, [&] {
            if (++ticks == 3) {
                loop.quit();
            }
        });
        const auto overdue = clock.callAt(before.addSecs(-5), [&] { ++overdueCalls; });
        // Ticks an hour away, as after the clock was set back: a jump restarts them from now.
        const auto away = clock.callEvery(clock.now().addSecs(3600), 20ms, [&] { ++awayTicks; });
        const auto later = clock.callAt(clock.now().addSecs(3600), [&] { ++laterCalls; });
        Q_EMIT clock.jumped();
        QTimer::singleShot(5s, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(ticks, 3);
        QCOMPARE(overdueCalls, 1);
        QVERIFY(awayTicks > 0);
        QCOMPARE(laterCalls, 0);
        QVERIFY(every->deadline() > clock.now());
        QVERIFY(later->deadline() > clock.now().addSecs(3500));
    }
};

QTEST_GUILESS_MAIN(ClockTest)
#include "tst_clock.moc"
