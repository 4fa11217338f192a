#include "app/eventlisting.h"
#include "calendar/democalendarprovider.h"
#include "platform/systemclock.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoroTask>

#include <cstdio>

using namespace bellwick;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("bellwick"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BELLWICK_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate("main", "Full-screen alerts before your meetings."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption demoOption(
        QStringLiteral("demo"),
        QCoreApplication::translate("main", "Use the built-in demo calendar instead of the system calendars."));
    const QCommandLineOption listOption(
        QStringLiteral("list-events"),
        QCoreApplication::translate("main", "Print the events of the next 24 hours and exit."));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"),
        QCoreApplication::translate("main", "With --list-events, print one JSON object per line."));
    parser.addOptions({demoOption, listOption, jsonOption});
    parser.process(app);

    if (!parser.isSet(listOption)) {
        std::fputs("bellwick: the tray agent is not part of this build yet; try --list-events --demo\n", stderr);
        return 2;
    }

    SystemClock clock;
    QList<CalendarProvider *> providers;
    const std::unique_ptr<DemoCalendarProvider> demo =
        parser.isSet(demoOption) ? DemoCalendarProvider::withDemoEvents(clock) : nullptr;
    if (demo) {
        providers.append(demo.get());
    }
    QTextStream out(stdout);
    QTextStream errors(stderr);
    const bool json = parser.isSet(jsonOption);
    // Queued, so the exit status reaches a running event loop.
    QMetaObject::invokeMethod(
        &app,
        [&] {
            QCoro::connect(listUpcomingEvents(providers, json, out, errors), &app,
                           [](int status) { QCoreApplication::exit(status); });
        },
        Qt::QueuedConnection);
    return QCoreApplication::exec();
}
