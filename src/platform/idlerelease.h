#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace bellwick {

class Clock;
class ClockTimer;

// Lets go of what only windows on screen need (a QML engine, its windows and caches) once none has been on screen for
// two minutes, and gives the freed heap back to the system, so a long-running agent shrinks back to its size at start.
class IdleRelease
{
public:
    static constexpr std::chrono::minutes delay{2};

    // `release` runs on the clock's thread, never while in use.
    IdleRelease(Clock &clock, std::function<void()> release);
    ~IdleRelease();
    IdleRelease(const IdleRelease &) = delete;
    IdleRelease &operator=(const IdleRelease &) = delete;

    // In use holds the release off; no longer in use starts the wait again.
    void setInUse(bool inUse);

private:
    Clock &m_clock;
    std::function<void()> m_release;
    std::unique_ptr<ClockTimer> m_timer;
};

// Gives the system back the heap's free pages, which glibc keeps otherwise, and the pages of mapped files that only
// this process holds.
void returnFreedMemory();

} // namespace bellwick
