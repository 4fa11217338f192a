#include "appharness.h"
#include "calendar/eds/edscalendarprovider.h"
#include "calendar/outlook/keyringstore.h"
#include "calendar/outlook/outlookauthservice.h"
#include "capturedoutput.h"
#include "localmicrosoft.h"
#include "timezone.h"
#include "ui/menubarpresenter.h"
#include "ui/settingspresenter.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);
const QString calendarView = u"/v1.0/me/calendarView"_s;
const QString signedInSettings =
    uR"({"hasBeenLaunched": true, "outlookEnabled": true, "outlookClientID": "client-7"})"_s;

// Graph's calendar view: an all-day "Offsite" on t0's day, then the half-hour Teams meetings "Design sync" and
// "Retro", whose alerts fall due 30 and 45 seconds after t0 with the standard three-minute lead.
QByteArray calendarViewReply()
{
    QFile file(QStringLiteral(BELLWICK_OUTLOOK_FIXTURES "/agentview.json"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The session a sign-in leaves in the keyring; nothing at all when `accessToken` is empty.
void storeSession(const QString &accessToken)
{
    const KeyringStore keyring{QString(OutlookAuthService::keychainServiceName)};
    for (const char *account : {"accessToken", "refreshToken", "tokenExpiration", "userEmail"}) {
        runTask(keyring.remove(QLatin1String(account)));
    }
    if (!accessToken.isEmpty()) {
        runTask(keyring.write(u"accessToken"_s, accessToken));
        runTask(keyring.write(u"refreshToken"_s, u"refresh-1"_s));
        runTask(keyring.write(u"userEmail"_s, u"ada@contoso.example"_s));
    }
}

// The application state over a scripted system calendar and a local Microsoft, with the panel and the settings.
struct Agent {
    explicit Agent(LocalMicrosoft &microsoft, const QString &stored = signedInSettings)
        : harness(t0, stored.toUtf8(), microsoft.endpoints())
    {
        harness.app->outlookAuth().setBrowserOpener(
            [&microsoft](const QUrl &url) { return microsoft.openBrowser(url); });
        harness.calendar->setEvents({makeEvent(u"eventkit"_s, u"Budget"_s, t0.addSecs(3600))});
    }

    // Each source's status as the settings label it, e.g. "EventKit: Connected".
    [[nodiscard]] QStringList statuses() const
    {
        QStringList shown;
        for (const auto &[key, status] : harness.app->providerStatuses().asKeyValueRange()) {
            shown << key + u": "_s + statusLabel(status).text;
        }
        return shown;
    }

    [[nodiscard]] QStringList panelTitles()
    {
        QStringList titles;
        for (int row = 0; row < panel.events()->rowCount(); ++row) {
            titles << panel.events()->index(row).data(UpcomingEventsModel::titleRole).toString();
        }
        return titles;
    }

    // One store for the whole run, as the agent keeps one.
    static EdsCalendarProvider &store()
    {
        static ManualClock clock(t0);
        static EdsCalendarProvider provider(clock);
        return provider;
    }

    AppHarness harness;
    SettingsPresenter settings{*harness.app, store()};
    MenuBarPresenter panel{*harness.app, harness.clock};
};

} // namespace

// Microsoft 365 in the running agent: signed in from the settings, listed in the panel, alerted, and followed in the
// status, against a local identity service and Graph.
class OutlookAgentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { pinTimeZone("UTC"); }

    void init() { storeSession({}); }

    void signInFromTheSettings()
    {
        LocalMicrosoft microsoft;
        microsoft.queue(u"/v1.0/me"_s, {200, R"({"mail": "ada@contoso.example"})"});
        microsoft.answerAlways(calendarView, {200, calendarViewReply()});
        Agent agent(microsoft,
                    uR"({"hasBeenLaunched": true, "outlookClientID": "client-7", "includeAllDayEvents": true})"_s);
        agent.harness.launch();
        QCOMPARE(agent.settings.outlookAccountText(), u"Not signed in"_s);
        QCOMPARE(agent.statuses(), QStringList{u"EventKit: Connected"_s});

        agent.settings.signInToOutlook();
        QVERIFY(agent.settings.outlookSigningIn());
        const QStringList listed{u"Offsite"_s, u"Design sync"_s, u"Retro"_s, u"Budget"_s};
        QTRY_COMPARE(agent.panelTitles(), listed);
        QCOMPARE(agent.settings.outlookAccountText(), u"ada@contoso.example"_s);
        QVERIFY(agent.harness.preferences.outlookEnabled());
        QCOMPARE(agent.statuses(), (QStringList{u"EventKit: Connected"_s, u"Outlook: Connected"_s}));
        QCOMPARE(agent.panel.statusColor(), panelColor(PanelColor::green));

        // The monitor's next poll finds the first meeting already inside its lead time.
        agent.harness.runUntil(t0.addSecs(30));
        QTRY_COMPARE(agent.harness.shown, QStringList{u"graph-1@30"_s});

        // A failing Graph turns the dot orange and keeps the meetings it listed last.
        microsoft.answerAlways(calendarView, {500, "{}"});
        CapturedOutput output;
        agent.harness.app->refresh();
        QTRY_COMPARE(agent.statuses().value(1), u"Outlook: Received invalid response from calendar service."_s);
        QCOMPARE(agent.panel.statusColor(), panelColor(PanelColor::orange));
        QCOMPARE(agent.panelTitles(), listed);

        // Turned off while a fetch is under way, its meetings and its status go at once, and stay gone.
        QSignalSpy published(agent.harness.app.get(), &AppState::upcomingEventsChanged);
        agent.harness.app->refresh();
        agent.harness.preferences.setOutlookEnabled(false);
        agent.harness.settle();
        QCOMPARE(agent.panelTitles(), QStringList{u"Budget"_s});
        QCOMPARE(agent.statuses(), QStringList{u"EventKit: Connected"_s});
        QCOMPARE(agent.panel.statusColor(), panelColor(PanelColor::green));
        QTRY_COMPARE(published.count(), 2);
        QCOMPARE(agent.panelTitles(), QStringList{u"Budget"_s});
        QCOMPARE(output.lines(), QStringList(2, u"Outlook: keeping the events of the last fetch: invalidResponse"_s));
        // Nor does a meeting the monitor still holds bring its alert.
        agent.harness.runUntil(t0.addSecs(50));
        QCOMPARE(agent.harness.shown, QStringList{u"graph-1@30"_s});
    }

    void statusFollowsGraph_data()
    {
        QTest::addColumn<int>("graphStatus");
        QTest::addColumn<bool>("renewalRefused");
        QTest::addColumn<QString>("status");

        QTest::newRow("listed") << 200 << false << u"Connected"_s;
        QTest::newRow("refused") << 403 << false << u"Access to calendar was denied."_s;
        QTest::newRow("renewal refused: signed out")
            << 401 << true << u"Your session has expired. Please sign in again."_s;
    }

    // Signed in before the launch: the stored session is read, and Graph's answer decides the status.
    void statusFollowsGraph()
    {
        QFETCH(int, graphStatus);
        QFETCH(bool, renewalRefused);
        QFETCH(QString, status);

        storeSession(u"access-0"_s);
        LocalMicrosoft microsoft;
        microsoft.queue(calendarView, {graphStatus, calendarViewReply()});
        microsoft.queue(LocalMicrosoft::tokenPath, {400, R"({"error": "invalid_grant"})"});
        CapturedOutput output;
        Agent agent(microsoft);
        agent.harness.launch();
        QTRY_COMPARE(agent.statuses().value(1), u"Outlook: "_s + status);
        const bool connected = status == u"Connected";
        const QStringList titles =
            connected ? QStringList{u"Design sync"_s, u"Retro"_s, u"Budget"_s} : QStringList{u"Budget"_s};
        QTRY_COMPARE(agent.panelTitles(), titles);
        QCOMPARE(agent.settings.outlookSignedIn(), !renewalRefused);
        QCOMPARE(agent.panel.statusColor(), panelColor(connected ? PanelColor::green : PanelColor::orange));
    }

    // The listing reads the same session; without one, --outlook-only says how to get one.
    void listsFromTheCommandLine()
    {
        LocalMicrosoft microsoft;
        microsoft.answerAlways(calendarView, {200, calendarViewReply()});
        const auto list = [&microsoft]() -> QString {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"BELLWICK_OUTLOOK_AUTHORITY"_s, microsoft.endpoints().authority.toString());
            environment.insert(u"BELLWICK_GRAPH_ROOT"_s, microsoft.endpoints().graphRoot.toString());
            process.setProcessEnvironment(environment);
            process.start(QStringLiteral(BELLWICK_BINARY), {u"--list-events"_s, u"--outlook-only"_s});
            // The local server answers from this process's event loop.
            if (!QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 30'000)) {
                return u"(still running)"_s;
            }
            return QString::number(process.exitCode()) + u' '
                   + QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        };
        QCOMPARE(list(), u"1 Microsoft 365: not signed in; sign in on the Calendars tab of the settings\n"_s);
        storeSession(u"access-0"_s);
        QCOMPARE(list(), u"0 2026-03-02 09:03  2026-03-02 09:33  Design sync  Outlook  Microsoft Teams  "
                         "https://teams.microsoft.com/l/meetup-join/graph-1\n"
                         "2026-03-02 09:03  2026-03-02 09:33  Retro        Outlook  Microsoft Teams  "
                         "https://teams.microsoft.com/l/meetup-join/graph-2\n"_s);
        QCOMPARE(microsoft.requestsTo(calendarView).value(0).headers.value("authorization"), "Bearer access-0");
    }
};

QTEST_MAIN(OutlookAgentTest)
#include "tst_outlookagent.moc"
