#include "app/eventlisting.h"
#include "calendar/democalendarprovider.h"
#include "calendar/eds/edscalendarprovider.h"
#include "monitoring/alertmanager.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/systemclock.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"
#include "ui/rendering.h"
#include "ui/testalert.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoroTask>
#include <QGuiApplication>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

using namespace bellwick;

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("main", text);
}

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
    AlertPresenter::Appearance appearance = alertAppearance(preferences);
    if (!schemeName.isEmpty()) {
        const auto scheme = alertColorSchemeFromRawValue(schemeName);
        if (!scheme) {
            QStringList names;
            for (const AlertColorScheme known : allAlertColorSchemes) {
                names << rawValue(known);
            }
            return usageError(
                tr("unknown colour scheme \"%1\"; choose one of %2").arg(schemeName, names.join(QStringLiteral(", "))));
        }
        appearance.colorScheme = *scheme;
    }
    if (!opacityText.isEmpty()) {
        bool ok = false;
        const double opacity = opacityText.toDouble(&ok);
        if (!ok || !std::isfinite(opacity)) {
            return usageError(tr("the opacity \"%1\" is not a number").arg(opacityText));
        }
        appearance.backgroundOpacity = std::clamp(opacity, 0.3, 1.0);
    }

    SystemClock clock;
    AlertManager manager(clock);
    showTestAlert(manager, appearance, clock.now(), [] { QCoreApplication::quit(); });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    // Only the alert needs a display; listing events must work without one.
    const bool showsAlert = std::any_of(
        argv + 1, argv + argc, [](const char *argument) { return std::strcmp(argument, "--test-alert") == 0; });
    if (showsAlert) {
        preferXcbUnderWayland();
        chooseSceneGraphBackend();
    }
    const std::unique_ptr<QCoreApplication> app =
        showsAlert ? std::make_unique<QGuiApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("bellwick"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BELLWICK_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(tr("Full-screen alerts before your meetings."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption demoOption(QStringLiteral("demo"),
                                        tr("Use the built-in demo calendar instead of the system calendars."));
    const QCommandLineOption listOption(QStringLiteral("list-events"),
                                        tr("Print the events of the next 24 hours and exit."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        tr("With --list-events, print one JSON object per line."));
    const QCommandLineOption testAlertOption(
        QStringLiteral("test-alert"), tr("Show the alert for a sample meeting, print how it was answered and exit."));
    const QCommandLineOption schemeOption(QStringLiteral("colour-scheme"),
                                          tr("With --test-alert, the colour scheme: purple, dark, blue, red, green or "
                                             "orange."),
                                          tr("name"));
    const QCommandLineOption opacityOption(
        QStringLiteral("opacity"), tr("With --test-alert, the backdrop's opacity, from 0.3 to 1."), tr("opacity"));
    parser.addOptions({demoOption, listOption, jsonOption, testAlertOption, schemeOption, opacityOption});
    parser.process(*app);

    if (parser.isSet(testAlertOption)) {
        return runTestAlert(parser.value(schemeOption), parser.value(opacityOption));
    }
    if (!parser.isSet(listOption)) {
        std::fputs("bellwick: the tray agent is not part of this build yet; try --list-events --demo or --test-alert\n",
                   stderr);
        return 2;
    }

    SystemClock clock;
    const std::unique_ptr<CalendarProvider> provider =
        parser.isSet(demoOption) ? std::unique_ptr<CalendarProvider>(DemoCalendarProvider::withDemoEvents(clock))
                                 : std::make_unique<EdsCalendarProvider>(clock);
    const QList<CalendarProvider *> providers{provider.get()};
    QTextStream out(stdout);
    QTextStream errors(stderr);
    const bool json = parser.isSet(jsonOption);
    // Queued, so the exit status reaches a running event loop.
    QMetaObject::invokeMethod(
        app.get(),
        [&] {
            QCoro::connect(listUpcomingEvents(providers, json, out, errors), app.get(),
                           [](int status) { QCoreApplication::exit(status); });
        },
        Qt::QueuedConnection);
    return QCoreApplication::exec();
}
