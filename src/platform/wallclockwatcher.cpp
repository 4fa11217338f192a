#include "wallclockwatcher.h"

#include "diagnostics.h"

#include <QDBusConnectionInterface>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace bellwick {

WallClockWatcher::WallClockWatcher(QDBusConnection systemBus, QString localtimePath, QObject *parent)
    : QObject(parent)
    , m_localtimePath(std::move(localtimePath))
    , m_localtimeWatcher(this)
    , m_clockTimerNotifier(QSocketNotifier::Read, this)
{
    watchResume(systemBus);
    watchClockSet();
    watchLocaltime();
}

WallClockWatcher::~WallClockWatcher()
{
    closeClockTimer();
}

void WallClockWatcher::onPrepareForSleep(bool sleeping)
{
    if (!sleeping) {
        Q_EMIT wallTimeChanged();
    }
}

void WallClockWatcher::watchResume(QDBusConnection &bus)
{
    const QString notWatching = QStringLiteral("Not watching for resume from suspend: ");
    if (!bus.isConnected()) {
        diagnostic(notWatching + QStringLiteral("no system bus (") + bus.lastError().message() + u')');
        return;
    }
    const QString logind = QStringLiteral("org.freedesktop.login1");
    if (!bus.interface()->isServiceRegistered(logind).value()) {
        diagnostic(notWatching + QStringLiteral("logind is not on the system bus"));
        return;
    }
    // Naming the service, not just the path, keeps any other client from faking a resume.
    if (!bus.connect(logind, QStringLiteral("/org/freedesktop/login1"),
                     QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
                     SLOT(onPrepareForSleep(bool)))) {
        diagnostic(notWatching + bus.lastError().message());
    }
}

void WallClockWatcher::watchClockSet()
{
    m_clockTimerFd = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_clockTimerFd < 0 || !armClockTimer()) {
        diagnostic(QStringLiteral("Not watching for the clock being set: ") + qt_error_string(errno));
        closeClockTimer();
        return;
    }
    m_clockTimerNotifier.setSocket(m_clockTimerFd);
    connect(&m_clockTimerNotifier, &QSocketNotifier::activated, this, &WallClockWatcher::onClockTimerReadable);
    m_clockTimerNotifier.setEnabled(true);
}

bool WallClockWatcher::armClockTimer()
{
    // The timer never expires; it is there to be cancelled when someone sets the clock.
    itimerspec never{};
    never.it_value.tv_sec = std::numeric_limits<std::time_t>::max();
    return ::timerfd_settime(m_clockTimerFd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr) == 0;
}

void WallClockWatcher::onClockTimerReadable()
{
    std::uint64_t expirations = 0;
    ssize_t result = 0;
    do {
        result = ::read(m_clockTimerFd, &expirations, sizeof expirations);
    } while (result < 0 && errno == EINTR);
    if (result >= 0 || errno == EAGAIN) {
        return;
    }
    // Any other failure would repeat on every wake-up, so give up rather than spin.
    if (errno != ECANCELED || !armClockTimer()) {
        diagnostic(QStringLiteral("Stopped watching for the clock being set: ") + qt_error_string(errno));
        closeClockTimer();
        return;
    }
    Q_EMIT wallTimeChanged();
}

void WallClockWatcher::closeClockTimer()
{
    if (m_clockTimerFd < 0) {
        return;
    }
    // The notifier must let go of the descriptor before it is closed.
    m_clockTimerNotifier.setEnabled(false);
    ::close(m_clockTimerFd);
    m_clockTimerFd = -1;
}

void WallClockWatcher::watchLocaltime()
{
    m_localtime = identify(m_localtimePath);
    connect(&m_localtimeWatcher, &QFileSystemWatcher::fileChanged, this, &WallClockWatcher::onLocaltimeTouched);
    connect(&m_localtimeWatcher, &QFileSystemWatcher::directoryChanged, this, &WallClockWatcher::onLocaltimeTouched);
    // Only the folder sees the file replaced by a rename, as timedatectl does.
    m_localtimeWatcher.addPath(QFileInfo(m_localtimePath).absolutePath());
    m_localtimeWatcher.addPath(m_localtimePath);
}

void WallClockWatcher::onLocaltimeTouched()
{
    const FileIdentity identity = identify(m_localtimePath);
    if (identity == m_localtime) {
        return;
    }
    m_localtime = identity;
    // A watch stays on the inode it was added for, which a replaced file or a retargeted link no longer is.
    m_localtimeWatcher.removePath(m_localtimePath);
    m_localtimeWatcher.addPath(m_localtimePath);
    Q_EMIT wallTimeChanged();
}

WallClockWatcher::FileIdentity WallClockWatcher::identify(const QString &path)
{
    FileIdentity identity;
    identity.linkTarget = QFileInfo(path).symLinkTarget();
    struct stat status { };
    if (::stat(QFile::encodeName(path).constData(), &status) == 0) {
        identity.device = status.st_dev;
        identity.inode = status.st_ino;
        identity.size = status.st_size;
        identity.modifiedNs = static_cast<qint64>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
    }
    return identity;
}

} // namespace bellwick
