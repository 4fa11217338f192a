#pragma once

#include "clock.h"

#include <QPointer>

#include <optional>
#include <vector>

namespace bellwick {

// A clock for tests: time stands still until advanced, then due timers fire in deadline order.
class ManualClock : public Clock
{
    Q_OBJECT

public:
    explicit ManualClock(QDateTime start, QObject *parent = nullptr);

    [[nodiscard]] QDateTime now() const override { return m_now; }
    [[nodiscard]] std::unique_ptr<ClockTimer> callAt(const QDateTime &deadline, Callback callback) override;
    using Clock::callEvery;
    [[nodiscard]] std::unique_ptr<ClockTimer> callEvery(const QDateTime &first, std::chrono::milliseconds interval,
                                                        Callback callback) override;

    // Moves time forward to the target, firing every timer due on the way with now() set to its deadline.
    // Timers scheduled by those callbacks fire too if they fall due before the target.
    void advanceTo(const QDateTime &target);
    void advance(std::chrono::milliseconds duration) { advanceTo(m_now.addMSecs(duration.count())); }
    // Sets the time, forward or back, without firing the timers on the way, and announces the jump; timers that
    // are then overdue fire late, all at the new time.
    void jumpTo(const QDateTime &target);

    [[nodiscard]] std::optional<QDateTime> nextDeadline() const;
    [[nodiscard]] int pendingTimerCount() const { return static_cast<int>(m_entries.size()); }

private:
    friend class ManualClockTimer;

    struct Entry {
        quint64 id;
        QDateTime deadline;
        std::chrono::milliseconds interval;
        Callback callback;
    };

    std::unique_ptr<ClockTimer> add(QDateTime deadline, std::chrono::milliseconds interval, Callback callback);
    void remove(quint64 id);
    [[nodiscard]] static bool firesBefore(const Entry &a, const Entry &b);
    [[nodiscard]] const Entry *find(quint64 id) const;

    QDateTime m_now;
    quint64 m_nextID = 1;
    std::vector<Entry> m_entries;
};

} // namespace bellwick
