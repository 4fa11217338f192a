#include "appharness.h"
#include "calendar/calendarprovidererror.h"
#include "capturedoutput.h"
#include "tasks.h"
#include "timezone.h"
#include "ui/alertpresenter.h"

#include <QSignalSpy>
#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);
const QUrl zoom(u"https://acme.zoom.us/j/123"_s);

CalendarEvent meeting(const QString &id, qint64 startsInSeconds, bool withLink = true, qint64 durationSeconds = 1800)
{
    return CalendarEvent({
        .providerID = u"eventkit"_s,
        .originalID = id,
        .title = id,
        .location = withLink ? std::optional(zoom.toString()) : std::nullopt,
        .startDate = t0.addSecs(startsInSeconds),
        .endDate = t0.addSecs(startsInSeconds + durationSeconds),
    });
}

// Answers the alert on screen as the user would: "join", "dismiss" or "snooze N".
void answer(AppHarness &harness, const QString &how)
{
    AlertPresenter *alert = harness.alerts.alertPresenter();
    QVERIFY(alert);
    if (how == u"join") {
        alert->joinMeeting();
    } else if (how == u"dismiss") {
        alert->dismiss();
    } else {
        alert->snooze(how.section(u' ', 1).toInt());
    }
    harness.settle();
}

// Every option the alert manager was given for the alert on screen, and the sounds played.
QString describeAlertOptions(const AppHarness &harness)
{
    const AlertManager &alerts = harness.alerts;
    QStringList snooze;
    for (const int minutes : alerts.snoozeMinutes) {
        snooze << QString::number(minutes);
    }
    return u"opacity %1, %2, %3, join %4, notes %5, closes %6, screen %7, snooze %8, sounds %9"_s.arg(
        QString::number(alerts.backgroundOpacity), rawValue(alerts.colorScheme), rawValue(alerts.snoozeStyle),
        alerts.showJoinButton ? u"on"_s : u"off"_s, alerts.showEventNotes ? u"on"_s : u"off"_s,
        alerts.autoDismissMinutes ? QString::number(*alerts.autoDismissMinutes) : u"never"_s,
        QString::number(alerts.screenIndex), snooze.join(u' '), harness.sound.played.join(u' '));
}

} // namespace

Q_DECLARE_METATYPE(bellwick::ProviderStatus)

class AppStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { pinTimeZone("UTC"); }

    void startUp_data()
    {
        QTest::addColumn<bool>("granted");
        QTest::addColumn<ProviderStatus>("status");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<int>("listed");

        QTest::newRow("access granted: the list is filled before monitoring starts")
            << true << ProviderStatus::connected() << QStringList{u"access"_s, u"fetch"_s, u"monitoring"_s, u"fetch"_s}
            << 1;
        QTest::newRow("access refused: no list, monitoring all the same")
            << false << ProviderStatus::permissionDenied() << QStringList{u"access"_s, u"monitoring"_s, u"fetch"_s}
            << 0;
    }

    void startUp()
    {
        QFETCH(bool, granted);
        QFETCH(ProviderStatus, status);
        QFETCH(QStringList, calls);
        QFETCH(int, listed);

        AppHarness harness(t0);
        harness.calendar->granted = granted;
        harness.calendar->setEvents({meeting(u"standup"_s, 3600)});
        QCOMPARE(harness.app->systemCalendarStatus(), ProviderStatus::disconnected());
        QSignalSpy settings(harness.app.get(), &AppState::settingsRequested);

        harness.launch();
        QCOMPARE(harness.app->systemCalendarStatus(), status);
        QCOMPARE(harness.log, calls);
        QCOMPARE(harness.app->upcomingEvents().size(), listed);
        QVERIFY(harness.monitor.isRunning());
        QVERIFY(harness.preferences.hasBeenLaunched() && settings.count() == 1);

        // Only the first launch opens the settings.
        harness.rebuild();
        QSignalSpy again(harness.app.get(), &AppState::settingsRequested);
        harness.launch();
        QVERIFY(again.isEmpty());
    }

    void failedRefreshKeepsTheListAndTheError()
    {
        AppHarness harness(t0);
        harness.calendar->setEvents({meeting(u"standup"_s, 3600)});
        harness.launch();

        harness.calendar->setFailure(std::make_exception_ptr(CalendarProviderError::tokenExpired()));
        runTask(harness.app->refreshEvents());
        QCOMPARE(harness.app->upcomingEvents().size(), 1);
        QVERIFY(harness.app->lastError());
        QCOMPARE(harness.app->lastError()->errorDescription(),
                 u"Failed to fetch events: Authentication expired. Please sign in again."_s);

        harness.calendar->setFailure(nullptr);
        harness.calendar->setEvents({});
        runTask(harness.app->refreshEvents());
        QVERIFY(harness.app->upcomingEvents().isEmpty());
        QVERIFY(harness.app->lastError());
    }

    // Meetings are "<id> <start> <end>", "bare" when without a link; with a lead of 10 minutes, one starting at
    // 900 s falls due at 300 s. Steps are "<at> <answer>" for the alert on screen, "<at> settle" for a dismissal that
    // comes from the first meeting's alert after another took the screen.
    void answers_data()
    {
        QTest::addColumn<QStringList>("meetings");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<int>("joined");

        const QStringList review{u"review 900 2700"_s};
        const QStringList both{u"first 900 2700"_s, u"second 900 2700"_s};
        const QStringList bothShown{u"first@300"_s, u"second@300"_s};
        QTest::newRow("join opens the link, once") << review << u"300 join"_s << QStringList{u"review@300"_s} << 1;
        QTest::newRow("join without a link is a dismissal")
            << QStringList{u"review 900 2700 bare"_s} << u"300 join"_s << QStringList{u"review@300"_s} << 0;
        QTest::newRow("dismiss") << review << u"300 dismiss"_s << QStringList{u"review@300"_s} << 0;
        QTest::newRow("snooze 5 comes back five minutes later")
            << review << u"300 snooze 5"_s << QStringList{u"review@300"_s, u"review@600"_s} << 0;
        // Due together, the second takes the screen.
        QTest::newRow("the first comes back when the second is answered")
            << both << u"310 dismiss; 370 dismiss"_s << bothShown + QStringList{u"first@310"_s} << 0;
        QTest::newRow("the first's own answer counts") << both << u"310 dismiss; 370 snooze 1; 430 dismiss"_s
                                                       << bothShown + QStringList{u"first@310"_s, u"first@430"_s} << 0;
        QTest::newRow("the first ended meanwhile and stays away")
            << QStringList{u"first 900 960"_s, u"second 900 2700"_s} << u"1000 dismiss"_s << bothShown << 0;
        QTest::newRow("an answer on its way for the displaced alert settles it")
            << both << u"300 settle; 300 dismiss"_s << bothShown << 0;
    }

    void answers()
    {
        QFETCH(QStringList, meetings);
        QFETCH(QString, script);
        QFETCH(QStringList, shown);
        QFETCH(int, joined);

        AppHarness harness(t0, R"({"hasBeenLaunched": true, "alertMinutesBefore": 10})");
        QList<CalendarEvent> events;
        for (const QString &line : meetings) {
            const QStringList words = line.split(u' ');
            const int start = words.at(1).toInt();
            events.append(meeting(words.at(0), start, words.size() < 4, words.at(2).toInt() - start));
        }
        harness.calendar->setEvents(events);
        harness.launch();
        // What is on screen and what the panel calls the active alert, which must agree.
        const auto onScreen = [&] {
            const auto current = harness.alerts.currentEvent();
            const auto active = harness.app->activeAlert();
            return u"%1/%2"_s.arg(current ? current->originalID() : QString(),
                                  active ? active->originalID() : QString());
        };
        for (const QString &step : script.split(u"; "_s)) {
            harness.runUntil(t0.addSecs(step.section(u' ', 0, 0).toInt()));
            const QString how = step.section(u' ', 1);
            if (how == u"settle"_s) {
                harness.app->handleAlertAction(AlertAction::dismiss(), events.first());
                continue;
            }
            const QString answered = onScreen();
            answer(harness, how);
            const QString next = onScreen();
            QVERIFY2(next != answered && next.section(u'/', 0, 0) == next.section(u'/', 1),
                     qPrintable(answered + u" then "_s + next));
        }
        harness.runUntil(t0.addSecs(2700));
        QCOMPARE(harness.shown, shown);
        QCOMPARE(harness.opener.opened, QList<QUrl>(joined, zoom));
        QVERIFY(harness.app->queuedAlerts().isEmpty());
    }

    void alertFollowsThePreferences_data()
    {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<QString>("options");

        QTest::newRow("defaults") << QByteArray()
                                  << u"opacity 0.95, purple, Remind me in..., join on, notes off, closes 5, screen 0, "
                                     "snooze 1 5 10 15, sounds Glass"_s;
        QTest::newRow("all changed, opacity raised to its floor")
            << QByteArray(R"({"alertOpacity": 0.1, "alertColorScheme": "red", "snoozeStyle": "Remind me at...",
                              "showJoinButton": false, "showEventNotes": true, "autoDismissAfterStart": false,
                              "screenToUse": 1, "customSnoozeOptions": [2, 20], "playSound": false})")
            << u"opacity 0.3, red, Remind me at..., join off, notes on, closes never, screen 1, snooze 2 20, sounds "_s;
        QTest::newRow("hand-edited extremes")
            << QByteArray(R"({"alertOpacity": 1.5, "autoDismissMinutes": -3, "screenToUse": 99999999999,
                              "customSnoozeOptions": [0, -5, 3, 99999999999], "soundName": "Ping"})")
            << u"opacity 1, purple, Remind me in..., join on, notes off, closes 0, screen 2147483647, snooze 3, "
               "sounds Ping"_s;
    }

    // The settings' test alert comes as a real one would.
    void alertFollowsThePreferences()
    {
        QFETCH(QByteArray, settings);
        QFETCH(QString, options);

        AppHarness harness(t0, settings);
        harness.calendar->setEvents({meeting(u"review"_s, 60)});
        harness.launch();
        QVERIFY(harness.alerts.isShowingAlert());
        QCOMPARE(describeAlertOptions(harness), options);

        AppHarness tested(t0, settings);
        tested.app->showTestAlert();
        QVERIFY(tested.alerts.isShowingAlert());
        QCOMPARE(describeAlertOptions(tested), options);
    }

    void theTestAlertsAnswerIsOnlyPrinted()
    {
        AppHarness harness(t0, R"({"hasBeenLaunched": true})");
        harness.launch();
        harness.app->showTestAlert();
        QCOMPARE(harness.alerts.currentEvent().value().startDate(), t0.addSecs(180));
        QVERIFY(!harness.app->activeAlert());

        CapturedOutput output;
        answer(harness, u"join"_s);
        QCOMPARE(output.lines(), QStringList{u"Test alert action: joinMeeting"_s});
        QVERIFY(harness.opener.opened.isEmpty());
        QVERIFY(!harness.app->activeAlert());
    }

    void calendarPreferencesReachTheProvidersAtOnce()
    {
        AppHarness harness(t0, R"({"includeAllDayEvents": true, "minimumMeetingDuration": 15})");
        QCOMPARE(harness.calendar->config().includeAllDayEvents, true);
        QCOMPARE(harness.calendar->config().minimumDurationMinutes, 15);
        QCOMPARE(harness.calendar->config().includedCalendarIDs, std::nullopt);

        harness.preferences.setIncludeAllDayEvents(false);
        harness.preferences.setMinimumMeetingDuration(30);
        harness.preferences.setEnabledCalendarIDs(QSet<QString>{u"work"_s});
        QCOMPARE(harness.calendar->config().includeAllDayEvents, false);
        QCOMPARE(harness.calendar->config().minimumDurationMinutes, 30);
        QCOMPARE(harness.calendar->config().includedCalendarIDs, QSet<QString>{u"work"_s});
    }

    void callbacksAfterTheStateIsGoneDoNothing()
    {
        AppHarness harness(t0, R"({"hasBeenLaunched": true})");
        harness.calendar->setEvents({meeting(u"review"_s, 60)});
        // The start-up runs through at once, up to the monitor's report of the due meeting, which waits in the queue.
        harness.app->start();
        harness.app.reset();
        harness.settle();
        QVERIFY(!harness.alerts.isShowingAlert());

        AppHarness answered(t0, R"({"hasBeenLaunched": true})");
        answered.calendar->setEvents({meeting(u"review"_s, 60)});
        answered.launch();
        QVERIFY(answered.alerts.isShowingAlert());
        // The alert reports the join, which waits in the queue while the state goes.
        answered.alerts.alertPresenter()->joinMeeting();
        QCoreApplication::sendPostedEvents(&answered.alerts);
        QVERIFY(!answered.alerts.isShowingAlert());
        answered.app.reset();
        answered.settle();
        QVERIFY(answered.opener.opened.isEmpty());
    }
};

QTEST_MAIN(AppStateTest)
#include "tst_appstate.moc"
