#include "app/appstate.h"
#include "app/eventlisting.h"
#include "app/quitonsignals.h"
#include "app/singleinstance.h"
#include "app/testalert.h"
#include "app/translations.h"
#include "app/trayagent.h"
#include "calendar/democalendarprovider.h"
#include "calendar/eds/edscalendarprovider.h"
#include "calendar/outlook/outlookauthservice.h"
#include "monitoring/alertmanager.h"
#include "monitoring/eventmonitor.h"
#include "platform/applicationid.h"
#include "platform/canberrasoundplayer.h"
#include "platform/diagnostics.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/systemclock.h"
#include "platform/urlopener.h"
#include "platform/wallclockwatcher.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"
#include "ui/rendering.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoroTask>

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace bellwick;

namespace {

// Wayland lets no client keep itself above the others, so the alert runs through XWayland.
void preferXcbUnderWayland()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
}

int usageError(const QString &message)
{
    std::fprintf(stderr, "bellwick: %s\n", qPrintable(message));
    return 2;
}

int runTestAlert(const QString &schemeName, const QString &opacityText)
{
    UserDefaults defaults;
    AutostartLoginItem login;
    DockPresence dock;
    const PreferencesManager preferences(defaults, login, dock);
    SystemClock clock;
    AlertManager manager(clock);
    applyAlertPreferences(manager, preferences);
    if (!schemeName.isEmpty()) {
        const auto scheme = alertColorSchemeFromRawValue(schemeName);
        if (!scheme) {
            QStringList names;
            for (const AlertColorScheme known : allAlertColorSchemes) {
                names << rawValue(known);
            }
            return usageError(QStringLiteral("unknown colour scheme \"%1\"; choose one of %2")
                                  .arg(schemeName, names.join(QStringLiteral(", "))));
        }
        manager.colorScheme = *scheme;
    }
    if (!opacityText.isEmpty()) {
        bool ok = false;
        const double opacity = opacityText.toDouble(&ok);
        if (!ok || !std::isfinite(opacity)) {
            return usageError(QStringLiteral("the opacity \"%1\" is not a number").arg(opacityText));
        }
        manager.backgroundOpacity = std::clamp(opacity, 0.3, 1.0);
    }
    showTestAlert(manager, clock.now(), [] { QCoreApplication::quit(); });
    return QCoreApplication::exec();
}

// Microsoft's services, or those that BELLWICK_OUTLOOK_AUTHORITY and BELLWICK_GRAPH_ROOT name, as a developer's
// local server; `problem` says which of them is not a web address.
OutlookEndpoints outlookEndpoints(QString &problem)
{
    OutlookEndpoints endpoints;
    const auto read = [&problem](const char *name, QUrl &url) {
        const QString value = qEnvironmentVariable(name);
        if (value.isEmpty()) {
            return;
        }
        const QUrl given = QUrl(value, QUrl::StrictMode).adjusted(QUrl::StripTrailingSlash);
        if (!given.isValid() || (given.scheme() != u"https" && given.scheme() != u"http") || given.host().isEmpty()) {
            problem = QStringLiteral("%1 is not a web address: \"%2\"").arg(QLatin1String(name), value);
            return;
        }
        url = given;
    };
    read("BELLWICK_OUTLOOK_AUTHORITY", endpoints.authority);
    read("BELLWICK_GRAPH_ROOT", endpoints.graphRoot);
    return endpoints;
}

std::unique_ptr<CalendarProvider> calendarProvider(Clock &clock, bool demo)
{
    if (demo) {
        return DemoCalendarProvider::withDemoEvents(clock);
    }
    return std::make_unique<EdsCalendarProvider>(clock);
}

int runAgent(bool demo, bool openSettings, const OutlookEndpoints &endpoints)
{
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const QuitOnSignals quitOnSignals;

    SingleInstance instance;
    switch (instance.claim()) {
    case SingleInstance::Claim::alreadyRunning: {
        const QString failure =
            instance.askRunningAgent(openSettings ? QStringLiteral("ShowSettings") : QStringLiteral("ShowPanel"));
        if (failure.isEmpty()) {
            return 0;
        }
        std::fprintf(stderr, "bellwick: %s\n",
                     qPrintable(QStringLiteral("Bellwick is already running but does not answer: %1").arg(failure)));
        return 1;
    }
    case SingleInstance::Claim::noBus:
        diagnostic(QStringLiteral("No session bus; another launch cannot find this one"));
        break;
    case SingleInstance::Claim::owned:
        break;
    }

    SystemClock clock;
    // After a resume or a set clock, every timer is measured again against wall time.
    const WallClockWatcher wallClock;
    QObject::connect(&wallClock, &WallClockWatcher::wallTimeChanged, &clock, &Clock::jumped);
    UserDefaults defaults;
    AutostartLoginItem login;
    DockPresence dock;
    PreferencesManager preferences(defaults, login, dock);
    dock.setPolicy(preferences.showInDock() ? DockPresence::Policy::regular : DockPresence::Policy::accessory);
    // Before the monitor, which may still be waiting on it when it goes.
    const std::unique_ptr<CalendarProvider> provider = calendarProvider(clock, demo);
    // The settings list the system's calendars: through the agent's own connection, unless the demo stands in.
    std::unique_ptr<EdsCalendarProvider> listingOnly;
    auto *systemCalendars = dynamic_cast<EdsCalendarProvider *>(provider.get());
    if (!systemCalendars) {
        listingOnly = std::make_unique<EdsCalendarProvider>(clock);
        systemCalendars = listingOnly.get();
    }
    AlertManager alertManager(clock);
    EventMonitor monitor(clock, preferences);
    DesktopUrlOpener urlOpener;
    CanberraSoundPlayer soundPlayer;
    AppState appState(clock, preferences, alertManager, monitor, {provider.get()}, urlOpener, soundPlayer, endpoints);
    TrayAgent tray(appState, clock, *systemCalendars);
    QObject::connect(&instance, &SingleInstance::panelRequested, &appState, &AppState::showPanel);
    QObject::connect(&instance, &SingleInstance::settingsRequested, &appState, &AppState::showSettings);

    tray.show();
    if (openSettings) {
        appState.showSettings();
    }
    appState.start();
    return QCoreApplication::exec();
}

// The system calendars unless `outlook` is null, then the Microsoft 365 calendar when someone is signed in to it;
// `outlook` is null when it is neither turned on nor asked for alone.
QCoro::Task<int> listEvents(CalendarProvider *system, OutlookAuthService *outlook, OutlookCalendarProvider &graph,
                            bool json, bool outlookOnly)
{
    QTextStream out(stdout);
    QTextStream errors(stderr);
    QList<CalendarProvider *> providers;
    if (!outlookOnly) {
        providers.append(system);
    }
    if (outlook) {
        co_await outlook->waitForStoredTokens();
        if (outlook->isAuthenticated()) {
            providers.append(&graph);
        } else if (outlookOnly) {
            errors << QStringLiteral("Microsoft 365: not signed in; sign in on the Calendars tab of the settings")
                   << Qt::endl;
            co_return 1;
        }
    }
    co_return co_await listUpcomingEvents(providers, json, out, errors);
}

int runListing(bool demo, bool json, bool outlookOnly, const OutlookEndpoints &endpoints)
{
    SystemClock clock;
    UserDefaults defaults;
    AutostartLoginItem login;
    DockPresence dock;
    const PreferencesManager preferences(defaults, login, dock);
    const std::unique_ptr<CalendarProvider> system = outlookOnly ? nullptr : calendarProvider(clock, demo);
    // Made only when wanted: reading the keyring may ask to unlock it.
    std::unique_ptr<OutlookAuthService> outlook;
    if (outlookOnly || preferences.outlookEnabled()) {
        outlook = std::make_unique<OutlookAuthService>(
            clock, [&preferences] { return preferences.outlookClientID(); }, endpoints);
    }
    OutlookCalendarProvider graph(clock, endpoints.graphRoot);
    graph.setTokenRefreshHandler([&outlook](TokenRenewal renewal) { return outlook->usableAccessToken(renewal); });
    // Queued, so the exit status reaches a running event loop.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [&] {
            QCoro::connect(listEvents(system.get(), outlook.get(), graph, json, outlookOnly),
                           QCoreApplication::instance(), [](int status) { QCoreApplication::exit(status); });
        },
        Qt::QueuedConnection);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("bellwick"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BELLWICK_VERSION));

    // The command line and what it prints stay in English: they come before the application object that translations
    // need, and scripts read them.
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Full-screen alerts before your meetings. With no option, Bellwick runs in the tray on the system "
        "calendars; launched again, it opens the running one's panel."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption demoOption(
        QStringLiteral("demo"), QStringLiteral("Use the built-in demo calendar instead of the system calendars."));
    const QCommandLineOption settingsOption(
        QStringLiteral("settings"),
        QStringLiteral("Open the settings window of the running agent, or start the agent with it open."));
    const QCommandLineOption listOption(QStringLiteral("list-events"),
                                        QStringLiteral("Print the events of the next 24 hours and exit."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("With --list-events, print one JSON object per line."));
    const QCommandLineOption outlookOnlyOption(
        QStringLiteral("outlook-only"),
        QStringLiteral(
            "With --list-events, only the Microsoft 365 calendar, also when it is turned off in the settings."));
    const QCommandLineOption testAlertOption(
        QStringLiteral("test-alert"),
        QStringLiteral("Show the alert for a sample meeting, print how it was answered and exit."));
    const QCommandLineOption schemeOption(
        QStringLiteral("colour-scheme"),
        QStringLiteral("With --test-alert, the colour scheme: purple, dark, blue, red, green or orange."),
        QStringLiteral("name"));
    const QCommandLineOption opacityOption(QStringLiteral("opacity"),
                                           QStringLiteral("With --test-alert, the backdrop's opacity, from 0.3 to 1."),
                                           QStringLiteral("opacity"));
    parser.addOptions({demoOption, settingsOption, listOption, jsonOption, outlookOnlyOption, testAlertOption,
                       schemeOption, opacityOption});

    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    // Parsed before any application object exists: only some modes may connect to a display.
    if (!parser.parse(arguments)) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(helpOption) || parser.isSet(QStringLiteral("help-all")) || parser.isSet(versionOption)) {
        const QCoreApplication app(argc, argv);
        parser.process(arguments);
        return 0;
    }
    const bool testAlert = parser.isSet(testAlertOption);
    const bool listing = !testAlert && parser.isSet(listOption);
    if (parser.isSet(jsonOption) && !listing) {
        return usageError(QStringLiteral("--json goes with --list-events"));
    }
    if (parser.isSet(outlookOnlyOption) && (!listing || parser.isSet(demoOption))) {
        return usageError(QStringLiteral("--outlook-only goes with --list-events and not with --demo"));
    }
    QString endpointProblem;
    const OutlookEndpoints endpoints = outlookEndpoints(endpointProblem);
    if (!endpointProblem.isEmpty()) {
        return usageError(endpointProblem);
    }
    if ((parser.isSet(schemeOption) || parser.isSet(opacityOption)) && !testAlert) {
        return usageError(QStringLiteral("--colour-scheme and --opacity go with --test-alert"));
    }
    if (parser.isSet(settingsOption) && (testAlert || listing)) {
        return usageError(
            QStringLiteral("--settings opens the agent's window and goes with neither --test-alert nor --list-events"));
    }

    if (listing) {
        const QCoreApplication app(argc, argv);
        return runListing(parser.isSet(demoOption), parser.isSet(jsonOption), parser.isSet(outlookOnlyOption),
                          endpoints);
    }
    // Qt would abort without a display; say what is missing instead.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        std::fprintf(stderr, "bellwick: %s\n",
                     qPrintable(QStringLiteral(
                         "no display to show the tray icon and alerts on; --list-events works without one")));
        return 1;
    }
    preferXcbUnderWayland();
    chooseSceneGraphBackend();
    // So the desktop matches the windows and the tray icon to the installed launcher.
    QGuiApplication::setDesktopFileName(applicationId);
    if (testAlert) {
        const QGuiApplication app(argc, argv);
        installTranslations(QLocale::system());
        QGuiApplication::setWindowIcon(applicationIcon());
        return runTestAlert(parser.value(schemeOption), parser.value(opacityOption));
    }
    const QApplication app(argc, argv);
    installTranslations(QLocale::system());
    QGuiApplication::setWindowIcon(applicationIcon());
    return runAgent(parser.isSet(demoOption), parser.isSet(settingsOption), endpoints);
}
