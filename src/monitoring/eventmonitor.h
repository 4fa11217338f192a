#pragma once

#include "calendar/calendarevent.h"

#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QHashFunctions>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>

#include <exception>
#include <functional>
#include <memory>

namespace bellwick {

class CalendarProvider;
class Clock;
class ClockTimer;
class PollingLoop;
class PreferencesManager;

// Polls the calendars and reports each event once, at the moment its alert falls due.
class EventMonitor : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(QDateTime lastFetchTime READ lastFetchTime NOTIFY lastFetchTimeChanged)

public:
    using EventCallback = std::function<void(const CalendarEvent &)>;

    // Follows later changes of the alert lead time at once; the clock's jumps re-plan and fetch anew.
    EventMonitor(Clock &clock, PreferencesManager &preferences, QObject *parent = nullptr);
    ~EventMonitor() override;

    // The events of the last completed fetch that had not ended by then, ascending by start.
    [[nodiscard]] const QList<CalendarEvent> &upcomingEvents() const { return m_upcomingEvents; }
    [[nodiscard]] bool isRunning() const { return m_isRunning; }
    // Invalid until the first fetch completes.
    [[nodiscard]] QDateTime lastFetchTime() const { return m_lastFetchTime; }
    // Set only while a fetch in which a provider failed is still going on.
    [[nodiscard]] std::exception_ptr lastError() const { return m_lastError; }

    void setOnEventApproaching(EventCallback callback) { m_onEventApproaching = std::move(callback); }

    // Always replaces the providers, which must outlive the monitor or be dropped from it first; starts polling only
    // if not running yet. A provider's change notice brings a fetch within a second.
    void startMonitoring(QList<CalendarProvider *> providers);
    // Also drops the providers.
    void stopMonitoring();
    // Reminds again after `minutes`, or 30 seconds before the start when `minutes` is 0. The answers take the event
    // as it was reported: they hold for that start only, so a meeting moved since is alerted at its new time.
    void snooze(const CalendarEvent &event, int minutes);
    // Never reports the event again while it stays listed at that start; also what joining the meeting does.
    void dismiss(const CalendarEvent &event);

Q_SIGNALS:
    void upcomingEventsChanged();
    void isRunningChanged();
    void lastFetchTimeChanged();
    void lastErrorChanged();
    // Every second while running and connected to, so countdowns shown from the list stay current; an idle agent
    // with nothing on screen never wakes for it.
    void ticked();

protected:
    void connectNotify(const QMetaMethod &signal) override;
    void disconnectNotify(const QMetaMethod &signal) override;

private:
    // The marks hold for one start of an event: a moved meeting is a new alert.
    struct Occurrence {
        QString id;
        QDateTime start;

        static Occurrence of(const CalendarEvent &event) { return {event.id(), event.startDate()}; }
        friend bool operator==(const Occurrence &, const Occurrence &) = default;
        friend size_t qHash(const Occurrence &key, size_t seed = 0) { return qHashMulti(seed, key.id, key.start); }
    };

    static QCoro::Task<> pollingLoop(QPointer<EventMonitor> self, std::shared_ptr<PollingLoop> loop);
    QCoro::Task<> fetchAllEvents(std::shared_ptr<PollingLoop> loop);
    void removeStaleEntries();
    // Reports every due event, one at a time in list order, then arms the timer for the next one.
    void checkForAlerts();
    void scheduleNextAlert();
    void updateCountdownTimer();
    void replanAfterJump();
    void cancelLoop();
    void setProviders(QList<CalendarProvider *> providers);
    void onProviderChanged();
    void fetchAfterChange();

    [[nodiscard]] bool isEligible(const CalendarEvent &event) const;
    [[nodiscard]] QDateTime alertTime(const CalendarEvent &event) const;
    void setLastError(std::exception_ptr error);

    Clock &m_clock;
    PreferencesManager &m_preferences;
    QList<CalendarEvent> m_upcomingEvents;
    bool m_isRunning = false;
    QDateTime m_lastFetchTime;
    std::exception_ptr m_lastError;
    EventCallback m_onEventApproaching;
    QList<CalendarProvider *> m_providers;
    QSet<Occurrence> m_dismissed;
    QHash<Occurrence, QDateTime> m_snoozedUntil;
    QSet<Occurrence> m_alerted;
    std::shared_ptr<PollingLoop> m_loop;
    bool m_fetchAfterJump = false;
    QCoro::Task<> m_monitoringTask;
    std::unique_ptr<ClockTimer> m_countdownTimer;
    std::unique_ptr<ClockTimer> m_nextAlertTimer;
    std::unique_ptr<ClockTimer> m_changeTimer;
};

} // namespace bellwick
