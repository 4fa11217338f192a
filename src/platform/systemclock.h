#pragma once

#include "clock.h"

namespace bellwick {

// The real wall clock, with timers on the Qt event loop.
class SystemClock : public Clock
{
    Q_OBJECT

public:
    using Clock::Clock;

    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] std::unique_ptr<ClockTimer> callAt(const QDateTime &deadline, Callback callback) override;
    using Clock::callEvery;
    [[nodiscard]] std::unique_ptr<ClockTimer> callEvery(const QDateTime &first, std::chrono::milliseconds interval,
                                                        Callback callback) override;
};

} // namespace bellwick
