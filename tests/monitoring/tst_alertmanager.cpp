#include "capturedoutput.h"
#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/manualclock.h"
#include "timezone.h"
#include "ui/alertpresenter.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const bool pinned = test::pinEnglishInUtc();

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

const QString notifications = u"org.freedesktop.Notifications"_s;
const QString notificationsPath = u"/org/freedesktop/Notifications"_s;

// The desktop's notification service, on a connection of its own to the test's private bus.
class NotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    NotificationService() : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"stand-in"_s))
    {
        m_bus.registerObject(notificationsPath, this, QDBusConnection::ExportAllSlots);
        m_bus.registerService(notifications);
    }

    ~NotificationService() override
    {
        m_bus.unregisterService(notifications);
        QDBusConnection::disconnectFromBus(u"stand-in"_s);
    }

    void send(const QString &signal, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createSignal(notificationsPath, notifications, signal);
        message.setArguments(arguments);
        m_bus.send(message);
    }

    QStringList calls;

public Q_SLOTS:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &actions, const QVariantMap &, int)
    {
        calls << u"notify %1: %2 | %3 | %4"_s.arg(calls.size() + 1).arg(summary, body, actions.join(u','));
        return static_cast<uint>(calls.size());
    }

    void CloseNotification(uint id) { calls << u"close %1"_s.arg(id); }

private:
    QDBusConnection m_bus;
};

} // namespace

class AlertManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(pinned); }

    void anotherEventReplacesTheAlertWithoutAReport()
    {
        ManualClock clock(t0);
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0.addSecs(180)), reports.handler(manager, u"a "_s));
        const QPointer<AlertWindow> first = manager.alertWindow();
        // The same event again keeps its window and its handler.
        manager.showAlert(meeting(u"a"_s, t0.addSecs(180)), reports.handler(manager, u"again "_s));
        QCOMPARE(manager.alertWindow(), first);
        // A click queued on the first alert must not end the second one.
        manager.alertPresenter()->dismiss();
        manager.showAlert(meeting(u"b"_s, t0.addSecs(240)), reports.handler(manager, u"b "_s));
        settle();
        QVERIFY(!first);
        QVERIFY(manager.isShowingAlert());
        QCOMPARE(manager.currentEvent()->id(), u"test_b"_s);
        QVERIFY(reports.actions.isEmpty());
        manager.alertPresenter()->dismiss();
        settle();
        QCOMPARE(reports.actions, QStringList{u"b dismiss"_s});
    }

    void closesTheChosenWholeMinutesAfterTheStart_data()
    {
        QTest::addColumn<std::optional<int>>("limit");
        QTest::addColumn<int>("shownAfterStart");
        // Seconds after showing; 0: it is still up two hours later.
        QTest::addColumn<int>("closingTick");

        QTest::newRow("six, shown at 5:58: stays at 5:59, closes at 6:00") << std::optional(6) << 358 << 2;
        QTest::newRow("six, shown 10 minutes late: the first tick") << std::optional(6) << 600 << 1;
        QTest::newRow("six, shown 3 minutes before: at 6:00 after the start") << std::optional(6) << -180 << 540;
        QTest::newRow("one, shown at 0:58: closes at 1:00") << std::optional(1) << 58 << 2;
        QTest::newRow("zero, shown 3 s before: closes at the start") << std::optional(0) << -3 << 3;
        QTest::newRow("none: stays until answered") << std::optional<int>() << -180 << 0;
    }

    void closesTheChosenWholeMinutesAfterTheStart()
    {
        QFETCH(std::optional<int>, limit);
        QFETCH(int, shownAfterStart);
        QFETCH(int, closingTick);

        ManualClock clock(t0.addSecs(shownAfterStart));
        AlertManager manager(clock);
        Reports reports;
        manager.autoDismissMinutes = limit;
        manager.showAlert(meeting(u"a"_s, t0), reports.handler(manager));
        // Only the next alert reads the field.
        manager.autoDismissMinutes = 1000;
        if (closingTick == 0) {
            clock.advance(2h);
            settle();
            QVERIFY(manager.isShowingAlert());
            return;
        }
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
        // Only the release of the alert's QML is left.
        QCOMPARE(clock.pendingTimerCount(), 1);
        QCOMPARE(clock.nextDeadline(), clock.now().addSecs(120));
    }

    // Two minutes after the last alert closed, not while another is up, and the next alert builds it anew.
    void qmlIsLetGoAfterTheLastAlert()
    {
        ManualClock clock(t0);
        AlertManager manager(clock);
        Reports reports;
        manager.showAlert(meeting(u"a"_s, t0.addSecs(600)), reports.handler(manager));
        const QPointer<QQmlEngine> engine = manager.alertWindow()->engine();
        manager.dismissAlert();
        settle();
        clock.advance(1min);
        manager.showAlert(meeting(u"b"_s, t0.addSecs(600)), reports.handler(manager));
        QCOMPARE(manager.alertWindow()->engine(), engine.data());
        clock.advance(2min);
        settle();
        QVERIFY(engine);
        manager.dismissAlert();
        settle();
        clock.advance(2min);
        settle();
        QVERIFY(!engine);
        manager.showAlert(meeting(u"c"_s, t0.addSecs(600)), reports.handler(manager));
        QVERIFY(manager.alertWindow()->rootObject());
    }

    void theNextAlertShowsWhatTheFieldsSay()
    {
        ManualClock clock(t0);
        AlertManager manager(clock);
        manager.showJoinButton = false;
        manager.showEventNotes = true;
        manager.snoozeMinutes = {3, 7};
        manager.showAlert(CalendarEvent({.providerID = u"test"_s,
                                         .originalID = u"a"_s,
                                         .notes = u"Agenda"_s,
                                         .location = u"https://acme.zoom.us/j/1"_s,
                                         .startDate = t0.addSecs(1200)}),
                          {});
        const AlertPresenter *presenter = manager.alertPresenter();
        QVERIFY(!presenter->showsJoinButton());
        QCOMPARE(presenter->notes(), u"Agenda"_s);
        QCOMPARE(presenter->snoozeOptions(), (QList<SnoozeOption>{{3, u"3 min"_s}, {7, u"7 min"_s}}));
    }

    // Never an empty full screen: the errors are printed once and the alert comes as a notification instead.
    void aViewThatCannotLoadBecomesANotification_data()
    {
        QTest::addColumn<bool>("link");
        QTest::addColumn<QString>("signal");
        QTest::addColumn<QVariantList>("arguments");
        QTest::addColumn<QStringList>("reported");

        QTest::newRow("joined from it") << true << u"ActionInvoked"_s << QVariantList{2U, u"join"_s}
                                        << QStringList{u"joinMeeting"_s};
        QTest::newRow("closed by the user")
            << false << u"NotificationClosed"_s << QVariantList{2U, 2U} << QStringList{u"dismiss"_s};
        QTest::newRow("expired") << false << u"NotificationClosed"_s << QVariantList{2U, 1U} << QStringList{};
        QTest::newRow("another's action") << true << u"ActionInvoked"_s << QVariantList{1U, u"join"_s} << QStringList{};
    }

    void aViewThatCannotLoadBecomesANotification()
    {
        QFETCH(bool, link);
        QFETCH(QString, signal);
        QFETCH(QVariantList, arguments);
        QFETCH(QStringList, reported);

        QTest::failOnWarning(QRegularExpression(u".*"_s));
        NotificationService service;
        ManualClock clock(t0);
        AlertManager manager(clock);
        manager.viewSource = QUrl(u"qrc:/nowhere/FullscreenAlertView.qml"_s);
        Reports reports;
        test::CapturedOutput output;
        manager.showAlert(meeting(u"first"_s, t0.addSecs(180)), reports.handler(manager));
        manager.showAlert(CalendarEvent({.providerID = u"test"_s,
                                         .originalID = u"second"_s,
                                         .title = u"Planning"_s,
                                         .location = link ? u"https://acme.zoom.us/j/1"_s : QString(),
                                         .startDate = t0.addSecs(240)}),
                          reports.handler(manager));
        QCOMPARE(output.lines(), QStringList{u"qrc:/nowhere/FullscreenAlertView.qml: No such file or directory"_s});
        QVERIFY(!manager.alertWindow());
        const QString shown = u"notify 2: Planning | Starts at 9:04 AM | "_s + (link ? u"join,Join"_s : QString());
        // The first one went before its number came back, and is closed as soon as it does.
        QTRY_COMPARE(service.calls, (QStringList{u"notify 1: first | Starts at 9:03 AM | "_s, shown, u"close 1"_s}));

        service.send(signal, arguments);
        // A round trip to the service: once it is back, the signal sent before it has arrived.
        const QDBusPendingCall pong = QDBusConnection::sessionBus().asyncCall(QDBusMessage::createMethodCall(
            notifications, notificationsPath, u"org.freedesktop.DBus.Peer"_s, u"Ping"_s));
        QTRY_VERIFY(pong.isFinished());
        settle();
        QCOMPARE(reports.actions, reported);
        QCOMPARE(manager.isShowingAlert(), reported.isEmpty());
        if (signal == u"ActionInvoked"_s && !reported.isEmpty()) {
            QTRY_COMPARE(service.calls.last(), u"close 2"_s);
        }
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
