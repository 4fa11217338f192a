#include "eventmonitor.h"

#include "calendar/calendarprovider.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/error.h"
#include "preferences/preferencesmanager.h"

#include <QMetaMethod>

#include <algorithm>
#include <coroutine>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

// The due range closes this long after the start.
constexpr qint64 dueAfterStartSeconds = 60;
constexpr qint64 snoozeUntilStartLeadSeconds = 30;
constexpr auto minimumTimerDelay = 100ms;
// Long enough to take in a burst of change notices (one edit sends several), short enough to fetch within a second.
constexpr auto changeSettleTime = 250ms;

} // namespace

// Shared by the monitor and its polling coroutine, so that either may end first.
class PollingLoop
{
public:
    bool cancelled = false;
    // A wake that came while the loop was fetching: the next sleep returns at once.
    bool wakeRequested = false;
    std::coroutine_handle<> sleeper;
    std::unique_ptr<ClockTimer> timer;

    void wake()
    {
        if (!sleeper) {
            wakeRequested = true;
            return;
        }
        timer.reset();
        std::exchange(sleeper, {}).resume();
    }
};

namespace {

class PollingSleep
{
public:
    PollingSleep(std::shared_ptr<PollingLoop> loop, Clock &clock, QDateTime deadline)
        : m_loop(std::move(loop)), m_clock(clock), m_deadline(std::move(deadline))
    { }

    [[nodiscard]] bool await_ready() const
    {
        return m_loop->cancelled || std::exchange(m_loop->wakeRequested, false) || m_deadline <= m_clock.now();
    }

    void await_suspend(std::coroutine_handle<> waiter)
    {
        m_loop->sleeper = waiter;
        m_loop->timer = m_clock.callAt(m_deadline, [loop = m_loop.get()] { loop->wake(); });
    }

    void await_resume() const noexcept { }

private:
    std::shared_ptr<PollingLoop> m_loop;
    Clock &m_clock;
    QDateTime m_deadline;
};

} // namespace

EventMonitor::EventMonitor(Clock &clock, PreferencesManager &preferences, QObject *parent)
    : QObject(parent), m_clock(clock), m_preferences(preferences)
{
    connect(&m_preferences, &PreferencesManager::alertMinutesBeforeChanged, this, &EventMonitor::checkForAlerts,
            Qt::QueuedConnection);
    // Noted at once, acted on later: a fetch that starts in between already sees the new time.
    connect(&m_clock, &Clock::jumped, this, [this] { m_fetchAfterJump = true; });
    connect(&m_clock, &Clock::jumped, this, &EventMonitor::replanAfterJump, Qt::QueuedConnection);
}

EventMonitor::~EventMonitor()
{
    cancelLoop();
    setProviders({});
}

void EventMonitor::startMonitoring(QList<CalendarProvider *> providers)
{
    setProviders(std::move(providers));
    if (m_isRunning) {
        return;
    }
    m_isRunning = true;
    Q_EMIT isRunningChanged();
    cancelLoop();
    m_loop = std::make_shared<PollingLoop>();
    m_monitoringTask = pollingLoop(this, m_loop);
    updateCountdownTimer();
}

void EventMonitor::stopMonitoring()
{
    cancelLoop();
    setProviders({});
    m_nextAlertTimer.reset();
    m_changeTimer.reset();
    if (m_isRunning) {
        m_isRunning = false;
        Q_EMIT isRunningChanged();
    }
    updateCountdownTimer();
}

void EventMonitor::setProviders(QList<CalendarProvider *> providers)
{
    for (CalendarProvider *provider : std::as_const(m_providers)) {
        if (!providers.contains(provider)) {
            provider->setChangeHandler({});
        }
    }
    for (CalendarProvider *provider : std::as_const(providers)) {
        provider->setChangeHandler([this] { onProviderChanged(); });
    }
    m_providers = std::move(providers);
}

void EventMonitor::onProviderChanged()
{
    // Changes that come before the fetch this one asks for are covered by it.
    if (!m_loop || m_changeTimer) {
        return;
    }
    m_changeTimer = m_clock.callAfter(changeSettleTime, [this] {
        QMetaObject::invokeMethod(this, &EventMonitor::fetchAfterChange, Qt::QueuedConnection);
    });
}

void EventMonitor::fetchAfterChange()
{
    m_changeTimer.reset();
    // A fetch already under way may have read the calendar before the change: the loop then fetches once more.
    if (m_loop) {
        m_loop->wake();
    }
}

void EventMonitor::cancelLoop()
{
    if (m_loop) {
        m_loop->cancelled = true;
        // A sleeping loop ends now; one awaiting a provider ends when the provider answers.
        std::exchange(m_loop, {})->wake();
    }
    m_monitoringTask = QCoro::Task<>();
}

void EventMonitor::snooze(const CalendarEvent &event, int minutes)
{
    const QDateTime until = minutes != 0 ? m_clock.now().addSecs(qint64(minutes) * 60)
                                         : event.startDate().addSecs(-snoozeUntilStartLeadSeconds);
    const Occurrence occurrence = Occurrence::of(event);
    m_snoozedUntil.insert(occurrence, until);
    m_alerted.remove(occurrence);
    checkForAlerts();
}

void EventMonitor::dismiss(const CalendarEvent &event)
{
    const Occurrence occurrence = Occurrence::of(event);
    m_dismissed.insert(occurrence);
    m_alerted.insert(occurrence);
    checkForAlerts();
}

QCoro::Task<> EventMonitor::pollingLoop(QPointer<EventMonitor> self, std::shared_ptr<PollingLoop> loop)
{
    while (self && !loop->cancelled) {
        co_await self->fetchAllEvents(loop);
        if (!self || loop->cancelled) {
            break;
        }
        self->checkForAlerts();
        Clock &clock = self->m_clock;
        co_await PollingSleep(loop, clock, clock.now() + self->m_preferences.pollingInterval());
    }
}

QCoro::Task<> EventMonitor::fetchAllEvents(std::shared_ptr<PollingLoop> loop)
{
    const QPointer<EventMonitor> self(this);
    m_fetchAfterJump = false;
    // Providers replaced during the fetch take over from the next one.
    const QList<CalendarProvider *> providers = m_providers;
    QList<CalendarEvent> events;
    for (CalendarProvider *provider : providers) {
        std::exception_ptr failure;
        try {
            events.append(co_await provider->fetchUpcomingEvents());
        } catch (...) {
            failure = std::current_exception();
        }
        if (!self || loop->cancelled) {
            co_return;
        }
        if (failure) {
            setLastError(failure);
            diagnostic(QStringLiteral("Error fetching from ") + provider->displayName() + QStringLiteral(": ")
                       + debugDescription(failure));
        }
    }

    const QDateTime now = m_clock.now();
    events.removeIf([&](const CalendarEvent &event) { return event.endDate() <= now; });
    std::stable_sort(events.begin(), events.end(),
                     [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
    m_upcomingEvents = std::move(events);
    Q_EMIT upcomingEventsChanged();
    m_lastFetchTime = m_clock.now();
    Q_EMIT lastFetchTimeChanged();
    setLastError(nullptr);
    removeStaleEntries();
    checkForAlerts();
}

void EventMonitor::removeStaleEntries()
{
    QSet<Occurrence> listed;
    QSet<QString> listedIDs;
    for (const CalendarEvent &event : std::as_const(m_upcomingEvents)) {
        listed.insert(Occurrence::of(event));
        listedIDs.insert(event.id());
    }
    // A snooze outlives a fetch that missed its event (its calendar failed) until it passes, but not one that lists
    // the event at another start. A passed snooze of a listed event changes nothing while time runs forward, but
    // should the clock be set back it still holds, as the event's other marks do.
    const QDateTime now = m_clock.now();
    m_snoozedUntil.removeIf([&](const auto &entry) {
        return !listed.contains(entry.key()) && (entry.value() <= now || listedIDs.contains(entry.key().id));
    });
    m_dismissed.intersect(listed);
    m_alerted.intersect(listed);
}

bool EventMonitor::isEligible(const CalendarEvent &event) const
{
    const Occurrence occurrence = Occurrence::of(event);
    return !event.isAllDay() && !m_dismissed.contains(occurrence) && !m_alerted.contains(occurrence);
}

QDateTime EventMonitor::alertTime(const CalendarEvent &event) const
{
    const QDateTime byLead = event.startDate().addSecs(-m_preferences.alertLeadTime().count());
    // A snooze never brings the alert before the lead time: a snooze instant that passed while the event was still
    // further away (the lead time shrank) waits for the lead time instead of checking in a loop.
    const auto snoozed = m_snoozedUntil.constFind(Occurrence::of(event));
    return snoozed == m_snoozedUntil.cend() ? byLead : std::max(*snoozed, byLead);
}

void EventMonitor::checkForAlerts()
{
    if (!m_isRunning) {
        return;
    }
    for (;;) {
        const QDateTime now = m_clock.now();
        const auto due = std::find_if(m_upcomingEvents.cbegin(), m_upcomingEvents.cend(), [&](const auto &event) {
            return isEligible(event) && alertTime(event) <= now
                   && now < event.startDate().addSecs(dueAfterStartSeconds);
        });
        if (due == m_upcomingEvents.cend()) {
            break;
        }
        // Copied: the owner's callback may change the monitor's state.
        const CalendarEvent event = *due;
        m_alerted.insert(Occurrence::of(event));
        if (m_onEventApproaching) {
            m_onEventApproaching(event);
        }
    }
    scheduleNextAlert();
}

void EventMonitor::scheduleNextAlert()
{
    m_nextAlertTimer.reset();
    if (!m_isRunning) {
        return;
    }
    const QDateTime now = m_clock.now();
    QDateTime earliest;
    for (const CalendarEvent &event : std::as_const(m_upcomingEvents)) {
        if (!isEligible(event)) {
            continue;
        }
        const QDateTime at = alertTime(event);
        if (at > now && (!earliest.isValid() || at < earliest)) {
            earliest = at;
        }
    }
    if (!earliest.isValid()) {
        return;
    }
    m_nextAlertTimer = m_clock.callAt(std::max(earliest, now + minimumTimerDelay), [this] {
        QMetaObject::invokeMethod(this, &EventMonitor::checkForAlerts, Qt::QueuedConnection);
    });
}

void EventMonitor::connectNotify(const QMetaMethod &signal)
{
    if (signal == QMetaMethod::fromSignal(&EventMonitor::ticked)) {
        // Queued: Qt may hold its connection lock while it calls here.
        QMetaObject::invokeMethod(this, &EventMonitor::updateCountdownTimer, Qt::QueuedConnection);
    }
}

void EventMonitor::disconnectNotify(const QMetaMethod &signal)
{
    // An invalid signal stands for all of them, disconnected at once.
    if (!signal.isValid() || signal == QMetaMethod::fromSignal(&EventMonitor::ticked)) {
        QMetaObject::invokeMethod(this, &EventMonitor::updateCountdownTimer, Qt::QueuedConnection);
    }
}

void EventMonitor::updateCountdownTimer()
{
    // Counts QML handlers too, unlike isSignalConnected(), which stays true once one was connected.
    if (!m_isRunning || receivers(SIGNAL(ticked())) == 0) {
        m_countdownTimer.reset();
        return;
    }
    if (!m_countdownTimer) {
        m_countdownTimer = m_clock.callEvery(
            1s, [this] { QMetaObject::invokeMethod(this, &EventMonitor::ticked, Qt::QueuedConnection); });
    }
}

void EventMonitor::replanAfterJump()
{
    checkForAlerts();
    if (m_loop && m_fetchAfterJump) {
        m_loop->wake();
    }
}

void EventMonitor::setLastError(std::exception_ptr error)
{
    if (error == m_lastError) {
        return;
    }
    m_lastError = std::move(error);
    Q_EMIT lastErrorChanged();
}

} // namespace bellwick
