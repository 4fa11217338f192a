#pragma once

#include "calendar/calendarevent.h"
#include "glibhandles.h"

#include <QSet>
#include <QStringList>

#include <map>
#include <vector>

namespace bellwick {

class EdsZones;

// Turns the components one calendar holds for a window into events: each series expanded, every moved occurrence
// where it was moved to, cancelled ones and the user's declined invitations left out.
class EdsOccurrences
{
public:
    // What every event of the calendar carries.
    struct Calendar {
        QString providerID;
        QString name;
        std::optional<CalendarColor> color;
        // The user's own addresses, lower-case, to find the user among the attendees.
        QStringList userAddresses;

        friend bool operator==(const Calendar &, const Calendar &) = default;
    };

    EdsOccurrences(EdsZones &zones, ECalClient *client, Calendar calendar);

    // Components that are not events, or lack a UID or a valid start, are left out.
    void add(GObjectPtr<ICalComponent> component);
    // Every TZID the added components name.
    [[nodiscard]] QSet<QString> zoneIDs() const;
    // The occurrences overlapping the window; false with `error` set when libical cannot expand a series.
    [[nodiscard]] bool expand(const QDateTime &from, const QDateTime &to, GCancellable *cancellable,
                              QList<CalendarEvent> &events, GError **error);

private:
    struct Series {
        GObjectPtr<ICalComponent> master;
        std::vector<GObjectPtr<ICalComponent>> moved;
    };
    struct Occurrence {
        QDateTime start;
        QDateTime end;
        bool isAllDay;
        QString slot;
    };

    bool occurrences(ICalComponent *component, const QDateTime &from, const QDateTime &to, GCancellable *cancellable,
                     std::vector<Occurrence> &found, GError **error);
    [[nodiscard]] QString recurrenceID(ICalComponent *component);
    [[nodiscard]] bool isUserDeclined(ICalComponent *component) const;
    // `first` is the component's first occurrence, made here when absent; the others share its link search.
    [[nodiscard]] CalendarEvent event(ICalComponent *component, const Occurrence &occurrence,
                                      const std::optional<QString> &recurrence,
                                      std::optional<CalendarEvent> &first) const;

    EdsZones &m_zones;
    ECalClient *m_client;
    Calendar m_calendar;
    std::map<QString, Series> m_series;
};

} // namespace bellwick
