#pragma once

#include "glibhandles.h"

#include <QSet>
#include <QStringList>

#include <map>

namespace bellwick {

// Finds the zone of a TZID in a calendar's events: the calendar's own definitions and the zones libical knows first,
// then Windows zone ids and display names; a zone still unknown is left to local time and reported once.
class EdsZones
{
public:
    // What resolve() is handed as its data.
    struct Lookup {
        EdsZones *zones;
        ECalClient *client;
    };

    // Fits e_cal_recur_generate_instances_sync; a null zone reads the time as local.
    static ICalTimezone *resolve(const gchar *tzid, gpointer lookup, GCancellable *, GError **);

    [[nodiscard]] ICalTimezone *zone(ECalClient *client, const QString &tzid);
    // A zone the client has fetched from its calendar or libical has built in; the others are worth asking for.
    [[nodiscard]] static ICalTimezone *knownToClient(ECalClient *client, const QString &tzid);
    // The zones first found unknown since the last call.
    [[nodiscard]] QStringList takeNewlyUnknown();

private:
    ICalTimezone *mappedZone(const QString &tzid);

    std::map<QString, ICalTimezone *> m_mapped;
    std::map<QString, GObjectPtr<ICalTimezone>> m_fixedOffsetZones;
    QSet<QString> m_unknown;
    QStringList m_newlyUnknown;
};

} // namespace bellwick
