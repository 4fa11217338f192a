#pragma once

#include "calendar/calendarprovider.h"

#include <QByteArray>
#include <QTextStream>

namespace bellwick {

// One event as a line of tab-separated columns: start, end, title, calendar, meeting service, link.
[[nodiscard]] QString eventLine(const CalendarEvent &event);
// One event as a compact JSON object.
[[nodiscard]] QByteArray eventJson(const CalendarEvent &event);

// Prints the next 24 hours of every provider, merged by start; a failing provider's message goes to `errors`.
// Yields the exit status: 0, or 1 when any provider failed.
[[nodiscard]] QCoro::Task<int> listUpcomingEvents(QList<CalendarProvider *> providers, bool json, QTextStream &out,
                                                  QTextStream &errors);

} // namespace bellwick
