#pragma once

#include "calendar/calendarprovider.h"

#include <QByteArray>
#include <QTextStream>

namespace bellwick {

// One event as the columns of a listing: start, end, title, calendar, meeting service, link.
[[nodiscard]] QStringList eventColumns(const CalendarEvent &event);
// One event as a compact JSON object.
[[nodiscard]] QByteArray eventJson(const CalendarEvent &event);

// Prints the next 24 hours of every provider, merged by start, as aligned columns or JSON lines;
// a failing provider's message goes to `errors`.
// Yields the exit status: 0, or 1 when any provider failed.
[[nodiscard]] QCoro::Task<int> listUpcomingEvents(QList<CalendarProvider *> providers, bool json, QTextStream &out,
                                                  QTextStream &errors);

} // namespace bellwick
