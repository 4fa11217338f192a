#include "calendarprovider.h"

#include "platform/clock.h"

namespace bellwick {

CalendarProvider::CalendarProvider(Clock &clock, CalendarProviderConfig config)
    : m_clock(clock), m_config(std::move(config))
{ }

QCoro::Task<QList<CalendarEvent>> CalendarProvider::fetchUpcomingEvents()
{
    const QDateTime now = m_clock.now();
    co_return co_await fetchEvents(now, upcomingWindowEnd(now));
}

QDateTime upcomingWindowEnd(const QDateTime &now)
{
    const QDateTime end = now.toLocalTime().addDays(1);
    return end.isValid() ? end.toUTC() : now;
}

} // namespace bellwick
