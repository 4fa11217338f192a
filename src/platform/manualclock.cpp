#include "manualclock.h"

#include <algorithm>

namespace bellwick {

class ManualClockTimer final : public ClockTimer
{
public:
    ManualClockTimer(ManualClock &clock, quint64 id) : m_clock(&clock), m_id(id) { }

    ~ManualClockTimer() override
    {
        if (m_clock) {
            m_clock->remove(m_id);
        }
    }

    [[nodiscard]] QDateTime deadline() const override
    {
        const ManualClock::Entry *entry = m_clock ? m_clock->find(m_id) : nullptr;
        return entry ? entry->deadline : QDateTime();
    }

private:
    QPointer<ManualClock> m_clock;
    quint64 m_id;
};

ManualClock::ManualClock(QDateTime start, QObject *parent) : Clock(parent), m_now(std::move(start)) { }

std::unique_ptr<ClockTimer> ManualClock::callAt(const QDateTime &deadline, Callback callback)
{
    return add(deadline, std::chrono::milliseconds::zero(), std::move(callback));
}

std::unique_ptr<ClockTimer> ManualClock::callEvery(const QDateTime &first, std::chrono::milliseconds interval,
                                                   Callback callback)
{
    return add(first, std::max(interval, std::chrono::milliseconds(1)), std::move(callback));
}

void ManualClock::advanceTo(const QDateTime &target)
{
    for (;;) {
        const auto next = std::min_element(m_entries.begin(), m_entries.end(), firesBefore);
        if (next == m_entries.end() || next->deadline > target) {
            break;
        }
        m_now = std::max(m_now, next->deadline);
        // Copied before the call: the callback may add or remove timers, including this one.
        const Callback callback = next->callback;
        if (next->interval.count() > 0) {
            next->deadline = next->deadline.addMSecs(next->interval.count());
        } else {
            m_entries.erase(next);
        }
        callback();
    }
    m_now = std::max(m_now, target);
}

void ManualClock::jumpTo(const QDateTime &target)
{
    m_now = target;
    for (Entry &entry : m_entries) {
        const qint64 interval = entry.interval.count();
        if (interval == 0) {
            continue;
        }
        const qint64 ahead = m_now.msecsTo(entry.deadline);
        if (ahead > interval) {
            entry.deadline = m_now.addMSecs(interval);
        } else if (ahead < 0) {
            // Missed ticks are skipped, as a system timer waking late does: one late tick, then the grid goes on.
            entry.deadline = entry.deadline.addMSecs(-ahead / interval * interval);
        }
    }
    Q_EMIT jumped();
    advanceTo(target);
}

std::optional<QDateTime> ManualClock::nextDeadline() const
{
    const auto next = std::min_element(m_entries.begin(), m_entries.end(), firesBefore);
    if (next == m_entries.end()) {
        return std::nullopt;
    }
    return next->deadline;
}

std::unique_ptr<ClockTimer> ManualClock::add(QDateTime deadline, std::chrono::milliseconds interval, Callback callback)
{
    const quint64 id = m_nextID++;
    m_entries.push_back({id, std::move(deadline), interval, std::move(callback)});
    return std::make_unique<ManualClockTimer>(*this, id);
}

void ManualClock::remove(quint64 id)
{
    std::erase_if(m_entries, [id](const Entry &entry) { return entry.id == id; });
}

bool ManualClock::firesBefore(const Entry &a, const Entry &b)
{
    // Equal deadlines fire in the order they were scheduled.
    return a.deadline != b.deadline ? a.deadline < b.deadline : a.id < b.id;
}

const ManualClock::Entry *ManualClock::find(quint64 id) const
{
    const auto it =
        std::find_if(m_entries.begin(), m_entries.end(), [id](const Entry &entry) { return entry.id == id; });
    return it == m_entries.end() ? nullptr : &*it;
}

} // namespace bellwick
