#pragma once

#include <QDateTime>
#include <QObject>

#include <chrono>
#include <coroutine>
#include <functional>
#include <memory>

namespace bellwick {

// A scheduled callback. Destroying the handle cancels it, so a callback never outlives its owner.
class ClockTimer
{
public:
    ClockTimer() = default;
    virtual ~ClockTimer() = default;
    ClockTimer(const ClockTimer &) = delete;
    ClockTimer &operator=(const ClockTimer &) = delete;

    // When the callback runs next.
    [[nodiscard]] virtual QDateTime deadline() const = 0;
};

class Clock;

// Awaited by a coroutine to sleep until a wall-clock deadline; destroying the sleeping coroutine cancels it.
class ClockSleep
{
public:
    ClockSleep(Clock &clock, QDateTime deadline);

    [[nodiscard]] bool await_ready() const;
    void await_suspend(std::coroutine_handle<> waiter);
    void await_resume() const noexcept { }

private:
    Clock *m_clock;
    QDateTime m_deadline;
    std::unique_ptr<ClockTimer> m_timer;
};

// The one source of time: every timing decision reads now() and schedules through here, so tests can fake time.
class Clock : public QObject
{
    Q_OBJECT

public:
    using Callback = std::function<void()>;

    using QObject::QObject;

    [[nodiscard]] virtual QDateTime now() const = 0;

    // Calls back once at the deadline; a deadline already passed calls back as soon as possible.
    [[nodiscard]] virtual std::unique_ptr<ClockTimer> callAt(const QDateTime &deadline, Callback callback) = 0;
    // Calls back at first and then every interval after it.
    [[nodiscard]] virtual std::unique_ptr<ClockTimer>
    callEvery(const QDateTime &first, std::chrono::milliseconds interval, Callback callback) = 0;

    [[nodiscard]] std::unique_ptr<ClockTimer> callAfter(std::chrono::milliseconds delay, Callback callback);
    [[nodiscard]] std::unique_ptr<ClockTimer> callEvery(std::chrono::milliseconds interval, Callback callback);

    [[nodiscard]] ClockSleep sleepUntil(const QDateTime &deadline) { return {*this, deadline}; }
    [[nodiscard]] ClockSleep sleep(std::chrono::milliseconds duration);

Q_SIGNALS:
    // Wall time moved other than by running: the clock was set, the machine resumed, or the time zone changed.
    // One-shot timers keep their deadlines and fire at once if those have passed; a repeating timer whose next tick
    // lies more than one interval ahead restarts its interval from now.
    void jumped();
};

} // namespace bellwick
