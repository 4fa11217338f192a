#pragma once

#include "calendarevent.h"

#include <QCoroTask>
#include <QList>
#include <QSet>

#include <functional>
#include <optional>

namespace bellwick {

class Clock;

// What a source fetches; each provider holds its own copy.
struct CalendarProviderConfig {
    // Carried along, but the upcoming-events window is always 24 hours.
    int lookAheadHours = 24;
    bool includeAllDayEvents = false;
    // When present, only these calendars are read.
    std::optional<QSet<QString>> includedCalendarIDs;
    QSet<QString> excludedCalendarIDs;
    // Shorter events are dropped when this is above zero.
    int minimumDurationMinutes = 0;

    friend bool operator==(const CalendarProviderConfig &, const CalendarProviderConfig &) = default;
};

inline const CalendarProviderConfig defaultCalendarProviderConfig{};

// One source of calendar events.
class CalendarProvider
{
public:
    explicit CalendarProvider(Clock &clock, CalendarProviderConfig config = defaultCalendarProviderConfig);
    virtual ~CalendarProvider() = default;
    CalendarProvider(const CalendarProvider &) = delete;
    CalendarProvider &operator=(const CalendarProvider &) = delete;

    // Also the prefix of the id of every event this source builds.
    [[nodiscard]] virtual QString providerID() const = 0;
    [[nodiscard]] virtual QString displayName() const = 0;

    // Whether the source can be read now, without asking the user.
    [[nodiscard]] virtual QCoro::Task<bool> isAuthorized() = 0;
    // Asks for read access; a failure inside is logged and yields false.
    [[nodiscard]] virtual QCoro::Task<bool> requestAccess() = 0;
    // The events overlapping the window from `from` to `to`.
    [[nodiscard]] virtual QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) = 0;

    // The events of the next 24 hours, counted on the local wall clock.
    [[nodiscard]] QCoro::Task<QList<CalendarEvent>> fetchUpcomingEvents();

    [[nodiscard]] const CalendarProviderConfig &config() const { return m_config; }
    void setConfig(CalendarProviderConfig config) { m_config = std::move(config); }

    // Called on the GUI thread whenever the source learns that its events changed, so its owner can fetch anew.
    void setChangeHandler(std::function<void()> handler) { m_changeHandler = std::move(handler); }

protected:
    [[nodiscard]] Clock &clock() const { return m_clock; }

    void notifyChanged() const
    {
        if (m_changeHandler) {
            m_changeHandler();
        }
    }

private:
    Clock &m_clock;
    CalendarProviderConfig m_config;
    std::function<void()> m_changeHandler;
};

// The end of the upcoming-events window that starts at `now`: the same wall-clock time a day later in the user's
// time zone, so the window is 23 or 25 hours long across a daylight-saving change.
[[nodiscard]] QDateTime upcomingWindowEnd(const QDateTime &now);

} // namespace bellwick
