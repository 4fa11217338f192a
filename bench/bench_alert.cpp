// How fast the alert reaches the screen, cold (QML engine created) and warm, how fast it is back in front after a
// user iconified it, what Bellwick's memory does around it and what an open alert costs the processor, its own and
// the X server's. Run under a display (bench/run-all does):
// scripts/session --display -- build/release/bench/bench_alert [--cpu-minutes N]
#include "app/testalert.h"
#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/idlerelease.h"
#include "platform/systemclock.h"
#include "processfigures.h"
#include "ui/rendering.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>

using namespace bellwick;
using namespace std::chrono_literals;

namespace {

void settle(std::chrono::milliseconds duration)
{
    QEventLoop loop;
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
}

// Milliseconds from showAlert to the window's first frame on screen.
double timeToFirstFrame(AlertManager &manager, const QDateTime &now)
{
    QElapsedTimer elapsed;
    std::atomic<qint64> swapped{-1};
    QEventLoop loop;
    elapsed.start();
    showTestAlert(manager, now);
    // The frame may be swapped on the render thread.
    QObject::connect(
        manager.alertWindow(), &QQuickWindow::frameSwapped, manager.alertWindow(),
        [&] {
            qint64 unset = -1;
            if (swapped.compare_exchange_strong(unset, elapsed.nsecsElapsed())) {
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
            }
        },
        Qt::DirectConnection);
    QTimer::singleShot(10s, &loop, &QEventLoop::quit);
    loop.exec();
    manager.dismissAlert();
    settle(200ms);
    return static_cast<double>(swapped.load()) / 1e6;
}

// Runs the event loop until the condition holds, for ten seconds at most.
bool waitFor(const std::function<bool()> &condition)
{
    QElapsedTimer waited;
    waited.start();
    while (!condition() && waited.elapsed() < 10'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return condition();
}

// Milliseconds from asking the window manager to iconify the alert to the alert holding the keyboard again; -1 when
// the window manager did not iconify it.
double timeToComeBack(AlertManager &manager, const QDateTime &now)
{
    showTestAlert(manager, now);
    AlertWindow *window = manager.alertWindow();
    waitFor([window] { return window->isActive(); });
    bool iconified = false;
    QObject::connect(window, &QWindow::visibilityChanged, window, [&iconified](QWindow::Visibility visibility) {
        iconified = iconified || visibility == QWindow::Minimized;
    });
    QElapsedTimer elapsed;
    elapsed.start();
    QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("windowminimize"), QString::number(window->winId())});
    const bool back = waitFor([&] { return iconified && window->isActive(); });
    const double milliseconds = static_cast<double>(elapsed.nsecsElapsed()) / 1e6;
    manager.dismissAlert();
    settle(200ms);
    return back ? milliseconds : -1;
}

// Runs the measurement that many times and prints its median and maximum in milliseconds.
void printSpread(const char *label, int runs, const std::function<double()> &measure)
{
    QList<double> results;
    for (int run = 0; run < runs; ++run) {
        results.append(measure());
    }
    std::sort(results.begin(), results.end());
    std::printf("%s: median %.1f ms, maximum %.1f ms over %d alerts\n", label, results.at(results.size() / 2),
                results.last(), runs);
}

} // namespace

int main(int argc, char **argv)
{
    chooseSceneGraphBackend();
    QGuiApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype option = arguments.indexOf(QStringLiteral("--cpu-minutes"));
    const int cpuMinutes = option >= 0 ? arguments.value(option + 1).toInt() : 5;
    const qint64 self = QCoreApplication::applicationPid();
    const auto memory = [self](const char *when) {
        std::printf("resident memory %s: %.1f MB\n", when, bench::residentMegabytes(self));
    };
    // The memory of closed alerts is given back a while after the last one closed.
    const auto afterRelease = [] { settle(IdleRelease::delay + 10s); };

    SystemClock clock;
    AlertManager manager(clock);
    settle(200ms);
    memory("at start");
    std::printf("cold showAlert to first frame: %.1f ms\n", timeToFirstFrame(manager, clock.now()));
    memory("after one alert");
    afterRelease();
    memory("two minutes after it closed");
    std::printf("cold again, after the release: %.1f ms\n", timeToFirstFrame(manager, clock.now()));
    printSpread("warm showAlert to first frame", 49, [&] { return timeToFirstFrame(manager, clock.now()); });
    memory("after 50 alerts");
    afterRelease();
    memory("two minutes after the 50th closed");
    printSpread("iconified to in front again (-1: not iconified)", 5,
                [&] { return timeToComeBack(manager, clock.now()); });

    const QList<qint64> server = bench::sessionProcesses("Xvfb");
    showTestAlert(manager, clock.now());
    settle(2s);
    const double ownBefore = bench::cpuSeconds({self});
    const double serverBefore = bench::cpuSeconds(server);
    settle(std::chrono::minutes(cpuMinutes));
    const double seconds = 60.0 * cpuMinutes;
    std::printf("an open alert over %d min: %.2f %% of a core, and %.2f %% in the X server\n", cpuMinutes,
                100 * (bench::cpuSeconds({self}) - ownBefore) / seconds,
                !server.isEmpty() ? 100 * (bench::cpuSeconds(server) - serverBefore) / seconds : -1.0);
    manager.dismissAlert();
    return 0;
}
