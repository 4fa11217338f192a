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
    void manualTimersFireInDeadlineOrder()
    {
        ManualClock clock(start);
        QStringList fired;
        const auto record = [&](const char *name) {
            return [&fired, &clock, name] {
                fired << QStringLiteral("%1@%2").arg(QLatin1String(name)).arg(start.secsTo(clock.now()));
            };
        };
        const auto late = clock.callAfter(30s, record("late"));
        const auto early = clock.callAfter(10s, record("early"));
        const auto tieFirst = clock.callAfter(20s, record("tie1"));
        const auto tieSecond = clock.callAfter(20s, record("tie2"));
        const auto beyond = clock.callAfter(31s, record("beyond"));

        clock.advance(30s);

        QCOMPARE(fired, (QStringList{QStringLiteral("early@10"), QStringLiteral("tie1@20"), QStringLiteral("tie2@20"),
                                     QStringLiteral("late@30")}));
        QCOMPARE(clock.now(), start.addSecs(30));
        QCOMPARE(clock.nextDeadline(), start.addSecs(31));
    }

    void destroyingATimerCancelsIt()
    {
        ManualClock clock(start);
        int calls = 0;
        auto timer = clock.callAfter(5s, [&] { ++calls; });
        QCOMPARE(timer->deadline(), start.addSecs(5));
        timer.reset();
        clock.advance(1min);
        QCOMPARE(calls, 0);
        QCOMPARE(clock.pendingTimerCount(), 0);
    }

    void callbacksMayCancelAndSchedule()
    {
        ManualClock clock(start);
        QStringList fired;
        std::unique_ptr<ClockTimer> victim = clock.callAfter(20s, [&] { fired << QStringLiteral("victim"); });
        std::unique_ptr<ClockTimer> chained;
        std::unique_ptr<ClockTimer> self;
        self = clock.callAfter(10s, [&] {
            fired << QStringLiteral("self");
            victim.reset();
            self.reset();
            chained = clock.callAfter(
                5s, [&] { fired << QStringLiteral("chained@") + QString::number(start.secsTo(clock.now())); });
        });

        clock.advance(1min);

        QCOMPARE(fired, (QStringList{QStringLiteral("self"), QStringLiteral("chained@15")}));
    }

    void pastDeadlinesFireOnTheNextAdvance()
    {
        ManualClock clock(start);
        int calls = 0;
        const auto overdue = clock.callAt(start.addSecs(-60), [&] { ++calls; });
        QCOMPARE(calls, 0);
        clock.advance(0ms);
        QCOMPARE(calls, 1);
        QCOMPARE(clock.now(), start);
    }

    void repeatingTimersKeepTheirGrid()
    {
        ManualClock clock(start);
        QList<qint64> ticks;
        const auto every = clock.callEvery(1s, [&] { ticks << start.msecsTo(clock.now()); });
        clock.advance(3500ms);
        QCOMPARE(ticks, (QList<qint64>{1000, 2000, 3000}));
        QCOMPARE(every->deadline(), start.addSecs(4));
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

    void manualSleepResumesAtItsDeadline()
    {
        ManualClock clock(start);
        QCoro::Task<QDateTime> sleeping = sleepThenRead(clock, 90s);
        QVERIFY(!sleeping.isReady());
        clock.advance(89s);
        QVERIFY(!sleeping.isReady());
        clock.advance(1s);
        QVERIFY(sleeping.isReady());
        QCOMPARE(test::runTask(std::move(sleeping)), start.addSecs(90));
    }

    void detachedSleepStillCompletes()
    {
        ManualClock clock(start);
        {
            QCoro::Task<QDateTime> sleeping = sleepThenRead(clock, 90s);
            QCOMPARE(clock.pendingTimerCount(), 1);
        }
        QCOMPARE(clock.pendingTimerCount(), 1);
        clock.advance(90s);
        QCOMPARE(clock.pendingTimerCount(), 0);
    }

    void systemTimersFireAtWallDeadlines()
    {
        SystemClock clock;
        const QDateTime before = clock.now();
        const QDateTime woke = test::runTask(sleepThenRead(clock, 60ms));
        QVERIFY2(woke >= before.addMSecs(60), qPrintable(QString::number(before.msecsTo(woke))));

        int ticks = 0;
        int overdueCalls = 0;
        QEventLoop loop;
        const auto every = clock.callEvery(20ms, [&] {
            if (++ticks == 3) {
                loop.quit();
            }
        });
        const auto overdue = clock.callAt(before.addSecs(-5), [&] { ++overdueCalls; });
        QTimer::singleShot(5s, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(ticks, 3);
        QCOMPARE(overdueCalls, 1);
        QVERIFY(every->deadline() > clock.now());
    }

    void systemTimersFollowAJump()
    {
        SystemClock clock;
        int ticks = 0;
        int laterCalls = 0;
        QEventLoop loop;
        // Ticks an hour away, as after the clock was set back: a jump restarts them from now.
        const auto every = clock.callEvery(clock.now().addSecs(3600), 20ms, [&] {
            ++ticks;
            loop.quit();
        });
        const auto later = clock.callAt(clock.now().addSecs(3600), [&] { ++laterCalls; });
        Q_EMIT clock.jumped();
        QTimer::singleShot(5s, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(ticks, 1);
        QCOMPARE(laterCalls, 0);
        QVERIFY(later->deadline() > clock.now().addSecs(3500));
    }
};

QTEST_GUILESS_MAIN(ClockTest)
#include "tst_clock.moc"
