#include "clock.h"

namespace bellwick {

ClockSleep::ClockSleep(Clock &clock, QDateTime deadline) : m_clock(&clock), m_deadline(std::move(deadline)) { }

bool ClockSleep::await_ready() const
{
    return m_deadline <= m_clock->now();
}

void ClockSleep::await_suspend(std::coroutine_handle<> waiter)
{
    m_timer = m_clock->callAt(m_deadline, [waiter] { waiter.resume(); });
}

std::unique_ptr<ClockTimer> Clock::callAfter(std::chrono::milliseconds delay, Callback callback)
{
    return callAt(now().addMSecs(delay.count()), std::move(callback));
}

std::unique_ptr<ClockTimer> Clock::callEvery(std::chrono::milliseconds interval, Callback callback)
{
    return callEvery(now().addMSecs(interval.count()), interval, std::move(callback));
}

ClockSleep Clock::sleep(std::chrono::milliseconds duration)
{
    return sleepUntil(now().addMSecs(duration.count()));
}

} // namespace bellwick
