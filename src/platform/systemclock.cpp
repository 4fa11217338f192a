#include "systemclock.h"

#include <QTimer>

#include <limits>

namespace bellwick {

namespace {

// Waits on a monotonic QTimer but decides by wall time, so a timer that wakes before its wall deadline
// (the clock was set back, or the wait exceeded QTimer's range) sleeps again instead of firing early.
class SystemClockTimer final : public ClockTimer
{
public:
    SystemClockTimer(const SystemClock &clock, QDateTime deadline, std::chrono::milliseconds interval,
                     Clock::Callback callback)
        : m_clock(clock), m_deadline(std::move(deadline)), m_interval(interval), m_callback(std::move(callback))
    {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { onTimeout(); });
        // Monotonic waits stop during suspend and ignore a set clock; a jump re-measures them against wall time.
        QObject::connect(&clock, &Clock::jumped, &m_timer, [this] { onJump(); });
        arm();
    }

    [[nodiscard]] QDateTime deadline() const override { return m_deadline; }

private:
    void arm()
    {
        const qint64 remaining = std::max<qint64>(0, m_clock.now().msecsTo(m_deadline));
        m_timer.start(static_cast<int>(std::min<qint64>(remaining, std::numeric_limits<int>::max())));
    }

    void onJump()
    {
        const QDateTime now = m_clock.now();
        if (m_interval.count() > 0 && now.msecsTo(m_deadline) > m_interval.count()) {
            m_deadline = now.addMSecs(m_interval.count());
        }
        arm();
    }

    void onTimeout()
    {
        const QDateTime now = m_clock.now();
        if (now < m_deadline) {
            arm();
            return;
        }
        if (m_interval.count() > 0) {
            // After a long stall (suspend) fire once, then continue on the original grid.
            const qint64 missed = m_deadline.msecsTo(now) / m_interval.count();
            m_deadline = m_deadline.addMSecs((missed + 1) * m_interval.count());
            arm();
        }
        // The callback may destroy this timer, so it is the last thing to touch it.
        const Clock::Callback callback = m_callback;
        callback();
    }

    const SystemClock &m_clock;
    QDateTime m_deadline;
    std::chrono::milliseconds m_interval;
    Clock::Callback m_callback;
    QTimer m_timer;
};

} // namespace

QDateTime SystemClock::now() const
{
    return QDateTime::currentDateTimeUtc();
}

std::unique_ptr<ClockTimer> SystemClock::callAt(const QDateTime &deadline, Callback callback)
{
    return std::make_unique<SystemClockTimer>(*this, deadline, std::chrono::milliseconds::zero(), std::move(callback));
}

std::unique_ptr<ClockTimer> SystemClock::callEvery(const QDateTime &first, std::chrono::milliseconds interval,
                                                   Callback callback)
{
    return std::make_unique<SystemClockTimer>(*this, first, std::max(interval, std::chrono::milliseconds(1)),
                                              std::move(callback));
}

} // namespace bellwick
