#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/manualclock.h"
#include "ui/alertpresenter.h"

#include <QPointer>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);

CalendarEvent meeting(const QString &id, const QDateTime &start)
{
    return CalendarEvent(
        {.providerID = u"test"_s, .originalID = id, .title = id, .startDate = start, .endDate = start.addSecs(1800)});
}

void settle()
{
    for (int round = 0; round < 3; ++round) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

// Records each report and what the manager looked like when it came.
struct Reports {
    QStringList actions;
    bool windowGoneEachTime = true;

    AlertManager::ActionHandler handler(const AlertManager &manager, const QString &tag = {})
    {
        return [this, &manager, tag](AlertAction action) {
            actions << tag + action.text();
            windowGoneEachTime = windowGoneEachTime && !manager.alertWindow() && !manager.isShowingAlert();
        };
    }
};

} // namespace

class AlertManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSameEventKeepsItsAlert()
    {
        ManualClock clock(t0);
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0.addSecs(180)), reports.handler(manager, u"first "_s));
        AlertWindow *window = manager.alertWindow();
        manager.showAlert(meeting(u"a"_s, t0.addSecs(180)), reports.handler(manager, u"second "_s));
        QCOMPARE(manager.alertWindow(), window);
        manager.alertPresenter()->dismiss();
        settle();
        QCOMPARE(reports.actions, QStringList{u"first dismiss"_s});
    }

    void anotherEventReplacesTheAlertWithoutAReport()
    {
        ManualClock clock(t0);
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0.addSecs(180)), reports.handler(manager, u"a "_s));
        const QPointer<AlertWindow> first = manager.alertWindow();
        AlertPresenter *stale = manager.alertPresenter();
        // A click queued on the first alert must not end the second one.
        stale->dismiss();
        manager.showAlert(meeting(u"b"_s, t0.addSecs(240)), reports.handler(manager, u"b "_s));
        settle();
        QVERIFY(!first);
        QVERIFY(manager.isShowingAlert());
        QCOMPARE(manager.currentEvent()->id(), u"test_b"_s);
        QVERIFY(reports.actions.isEmpty());
    }

    void closesSixWholeMinutesAfterTheStart_data()
    {
        QTest::addColumn<int>("shownAfterStart");
        QTest::addColumn<int>("closingTick");

        QTest::newRow("shown at 5:58: stays at 5:59, closes at 6:00") << 358 << 2;
        QTest::newRow("shown 10 minutes late: the first tick") << 600 << 1;
        QTest::newRow("shown 3 minutes before: at 6:00 after the start") << -180 << 540;
    }

    void closesSixWholeMinutesAfterTheStart()
    {
        QFETCH(int, shownAfterStart);
        QFETCH(int, closingTick);

        ManualClock clock(t0.addSecs(shownAfterStart));
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0), reports.handler(manager));
        for (int tick = 1; tick < closingTick; ++tick) {
            clock.advance(1s);
            settle();
        }
        QVERIFY(manager.isShowingAlert());
        QVERIFY(reports.actions.isEmpty());
        clock.advance(1s);
        settle();
        QCOMPARE(reports.actions, QStringList{u"dismiss"_s});
        QVERIFY(reports.windowGoneEachTime);
        QCOMPARE(clock.pendingTimerCount(), 0);
    }

    void eachAnswerIsReportedOnceAfterTheWindowWent_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("reported");

        QTest::newRow("snooze 15") << u"snooze"_s << u"snooze(minutes: 15)"_s;
        QTest::newRow("dismiss") << u"dismiss"_s << u"dismiss"_s;
        QTest::newRow("join") << u"join"_s << u"joinMeeting"_s;
    }

    void eachAnswerIsReportedOnceAfterTheWindowWent()
    {
        QFETCH(QString, answer);
        QFETCH(QString, reported);

        ManualClock clock(t0);
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0.addSecs(1200)), reports.handler(manager));
        AlertPresenter *presenter = manager.alertPresenter();
        // A double click, then the clock running on to the auto-close: still one report.
        for (int click = 0; click < 2; ++click) {
            if (answer == u"snooze"_s) {
                presenter->snooze(15);
            } else if (answer == u"dismiss"_s) {
                presenter->dismiss();
            } else {
                presenter->joinMeeting();
            }
        }
        settle();
        clock.advance(30min);
        settle();
        QCOMPARE(reports.actions, QStringList{reported});
        QVERIFY(reports.windowGoneEachTime);
    }
};

QTEST_MAIN(AlertManagerTest)
#include "tst_alertmanager.moc"
