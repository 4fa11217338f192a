// How fast the alert reaches the screen, cold (QML engine created) and warm, and what Bellwick's memory does around
// it. Run under a display: scripts/session --display -- build/release/bench/bench_alert
#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/systemclock.h"
#include "ui/rendering.h"
#include "ui/testalert.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>

using namespace bellwick;
using namespace std::chrono_literals;

namespace {

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
        }
    }
    return -1;
}

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
    showTestAlert(manager, {}, now);
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

} // namespace

int main(int argc, char **argv)
{
    chooseSceneGraphBackend();
    QGuiApplication app(argc, argv);
    SystemClock clock;
    AlertManager manager(clock);
    settle(200ms);
    std::printf("resident memory before the first alert: %.1f MB\n", residentMegabytes());

    std::printf("cold showAlert to first frame: %.1f ms\n", timeToFirstFrame(manager, clock.now()));
    QList<double> warm;
    for (int run = 0; run < 7; ++run) {
        warm.append(timeToFirstFrame(manager, clock.now()));
    }
    std::sort(warm.begin(), warm.end());
    std::printf("warm showAlert to first frame: median %.1f ms, maximum %.1f ms over %lld alerts\n",
                warm.at(warm.size() / 2), warm.last(), static_cast<long long>(warm.size()));
    std::printf("resident memory after the alerts closed: %.1f MB\n", residentMegabytes());
    return 0;
}
