#include "idlerelease.h"

#include "clock.h"

#include <QCoreApplication>
#include <QFile>

#include <malloc.h>
#include <sys/mman.h>

namespace bellwick {

IdleRelease::IdleRelease(Clock &clock, std::function<void()> release)
    : m_clock(clock), m_release(std::move(release)) { }

IdleRelease::~IdleRelease() = default;

void IdleRelease::setInUse(bool inUse)
{
    if (inUse) {
        m_timer.reset();
        return;
    }
    if (m_timer) {
        return;
    }
    m_timer = m_clock.callAfter(delay, [this] {
        m_timer.reset();
        m_release();
        // After the objects the release handed to deleteLater() are gone.
        QMetaObject::invokeMethod(QCoreApplication::instance(), &returnFreedMemory, Qt::QueuedConnection);
    });
}

void returnFreedMemory()
{
    malloc_trim(0);
    // The libraries, fonts and caches the windows read stay mapped, and their pages count as the agent's until the
    // system runs short. Paged out, they are the system's again, and are read back when a window needs them; the
    // kernel leaves pages that other processes map alone.
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly)) {
        return;
    }
    for (const QByteArray &line : maps.readAll().split('\n')) {
        // start-end perms offset device inode path
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 6 || fields.at(1).contains('w') || fields.at(4) == "0") {
            continue;
        }
        const QList<QByteArray> range = fields.at(0).split('-');
        const quintptr start = range.value(0).toULongLong(nullptr, 16);
        const quintptr end = range.value(1).toULongLong(nullptr, 16);
        if (end > start) {
            madvise(reinterpret_cast<void *>(start), end - start, MADV_PAGEOUT);
        }
    }
}

} // namespace bellwick
