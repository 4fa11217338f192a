#include "eventmonitor.h"

#include "calendar/calendarprovider.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/error.h"
#include "preferences/preferencesmanager.h"

#include <algorithm>
#include <coroutine>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

// The due range closes this long after the start.
constexpr qint64 dueAfterStartSeconds = 60;
constexpr qint64 snoozeUntilStartLeadSeconds = 30;
constexpr auto minimumTimerDelay = 100ms;
constexpr auto fallbackPollingInterval = 10s;
// A corrupt stored lead time must not overflow the arithmetic on instants.
constexpr qint64 maximumLeadMinutes = 366LL * 24 * 60;

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
}

void EventMonitor::startMonitoring(QList<CalendarProvider *> providers)
{
    m_providers = std::move(providers);
    if (m_isRunning) {
        return;
    }
    m_isRunning = true;
    Q_EMIT isRunningChanged();
    cancelLoop();
    m_loop = std::make_shared<PollingLoop>();
    m_monitoringTask = pollingLoop(this, m_loop);
    startCountdownTimer();
}

void EventMonitor::stopMonitoring()
{
    cancelLoop();
    m_countdownTimer.reset();
    m_nextAlertTimer.reset();
    if (m_isRunning) {
        m_isRunning = false;
        Q_EMIT isRunningChanged();
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
    m_snoozedEvents.insert(event.id(), until);
    m_alertedEventIDs.remove(event.id());
    checkForAlerts();
}

void EventMonitor::dismiss(const CalendarEvent &event)
{
    m_dismissedEventIDs.insert(event.id());
    m_alertedEventIDs.insert(event.id());
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
        co_await PollingSleep(loop, clock, clock.now() + self->pollingInterval());
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
    QSet<QString> listed;
    for (const CalendarEvent &event : std::as_const(m_upcomingEvents)) {
        listed.insert(event.id());
    }
    // A passed snooze of a listed event changes nothing while time runs forward, but should the clock be set back
    // it still holds, as the event's other marks do.
    const QDateTime now = m_clock.now();
    m_snoozedEvents.removeIf([&](const auto &entry) { return entry.value() <= now && !listed.contains(entry.key()); });
    m_dismissedEventIDs.intersect(listed);
    m_alertedEventIDs.intersect(listed);
}

bool EventMonitor::isEligible(const CalendarEvent &event) const
{
    return !event.isAllDay() && !m_dismissedEventIDs.contains(event.id()) && !m_alertedEventIDs.contains(event.id());
}

QDateTime EventMonitor::alertTime(const CalendarEvent &event) const
{
    const qint64 leadMinutes = std::clamp(m_preferences.alertMinutesBefore(), -maximumLeadMinutes, maximumLeadMinutes);
    const QDateTime byLead = event.startDate().addSecs(-leadMinutes * 60);
    // A snooze never brings the alert before the lead time: a snooze instant that passed while the event was still
    // further away (it moved later, or the lead time shrank) waits for the lead time instead of checking in a loop.
    const auto snoozed = m_snoozedEvents.constFind(event.id());
    return snoozed == m_snoozedEvents.cend() ? byLead : std::max(*snoozed, byLead);
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
        m_alertedEventIDs.insert(event.id());
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

void EventMonitor::startCountdownTimer()
{
    m_countdownTimer =
        m_clock.callEvery(1s, [this] { QMetaObject::invokeMethod(this, &EventMonitor::ticked, Qt::QueuedConnection); });
}

void EventMonitor::replanAfterJump()
{
    checkForAlerts();
    if (m_loop && m_fetchAfterJump) {
        m_loop->wake();
    }
}

std::chrono::seconds EventMonitor::pollingInterval() const
{
    const qint64 seconds = m_preferences.pollingIntervalSeconds();
    return seconds > 0 ? std::chrono::seconds(seconds) : fallbackPollingInterval;
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
