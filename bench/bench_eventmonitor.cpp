// How punctually the event monitor reports on the real clock and event loop, and what one polling cycle costs.
#include "calendar/democalendarprovider.h"
#include "monitoring/eventmonitor.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/manualclock.h"
#include "platform/systemclock.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>

using namespace bellwick;
using namespace std::chrono_literals;

namespace {

// The monitor's settings, kept in a folder of their own.
struct Settings {
    QTemporaryDir folder;
    UserDefaults defaults{folder.filePath(QStringLiteral("settings.json"))};
    AutostartLoginItem login{folder.filePath(QStringLiteral("bellwick"))};
    DockPresence dock;
    PreferencesManager preferences{defaults, login, dock};
};

CalendarEvent meeting(int index, const QDateTime &start)
{
    return CalendarEvent({
        .providerID = QStringLiteral("bench"),
        .originalID = QString::number(index),
        .title = QStringLiteral("Meeting %1").arg(index),
        .startDate = start,
        .endDate = start.addSecs(1800),
    });
}

// Thirty alerts between 1 and 10 seconds ahead, 300 ms apart (the monitor never arms a timer shorter than 100 ms),
// listed in random order; prints how late each report came.
void measureAlertLateness()
{
    SystemClock clock;
    Settings settings;
    settings.preferences.setAlertMinutesBefore(1);
    DemoCalendarProvider provider(clock, QStringLiteral("bench"));
    EventMonitor monitor(clock, settings.preferences);

    const QDateTime origin = clock.now();
    QList<CalendarEvent> events;
    for (int i = 0; i < 30; ++i) {
        events.append(meeting(i, origin.addMSecs(60'000 + 1000 + i * 300)));
    }
    std::shuffle(events.begin(), events.end(), *QRandomGenerator::global());
    provider.setEvents(events);

    QList<double> lateness;
    QEventLoop loop;
    monitor.setOnEventApproaching([&](const CalendarEvent &event) {
        const QDateTime due = event.startDate().addSecs(-60);
        lateness.append(static_cast<double>(due.msecsTo(QDateTime::currentDateTimeUtc())));
        if (lateness.size() == events.size()) {
            loop.quit();
        }
    });
    monitor.startMonitoring({&provider});
    QTimer::singleShot(20s, &loop, &QEventLoop::quit);
    loop.exec();

    std::sort(lateness.begin(), lateness.end());
    if (lateness.size() != events.size()) {
        std::printf("alert lateness: only %lld of %lld alerts came\n", static_cast<long long>(lateness.size()),
                    static_cast<long long>(events.size()));
        return;
    }
    std::printf("alert lateness over %lld alerts: median %.0f ms, maximum %.0f ms\n",
                static_cast<long long>(lateness.size()), lateness.at(lateness.size() / 2), lateness.last());
}

// One fetch, check and schedule over 2,000 events of the next day, as each polling cycle runs it.
void pollingCycle(benchmark::State &state)
{
    const QDateTime start = QDateTime::currentDateTimeUtc();
    ManualClock clock(start);
    Settings settings;
    settings.preferences.setPollingIntervalSeconds(10);
    DemoCalendarProvider provider(clock, QStringLiteral("bench"));
    QList<CalendarEvent> events;
    for (int i = 0; i < 2000; ++i) {
        events.append(meeting(i, start.addSecs(3600 + i * 40)));
    }
    provider.setEvents(events);
    EventMonitor monitor(clock, settings.preferences);
    monitor.startMonitoring({&provider});

    for (auto _ : state) {
        clock.advance(10s);
        QCoreApplication::sendPostedEvents();
    }
    state.counters["events"] = static_cast<double>(monitor.upcomingEvents().size());
}
BENCHMARK(pollingCycle)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    measureAlertLateness();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
