#pragma once

#include "calendar/calendarprovider.h"

#include <QThreadPool>

#include <memory>

namespace bellwick {

// One calendar of the system's calendar store, as a settings window lists it.
struct CalendarInfo {
    QString identifier;
    QString title;
    std::optional<CalendarColor> color;

    friend bool operator==(const CalendarInfo &, const CalendarInfo &) = default;
};

// The calendars of Evolution Data Server, the calendar store of GNOME and other Linux desktops.
class EdsCalendarProvider : public CalendarProvider
{
public:
    explicit EdsCalendarProvider(Clock &clock, CalendarProviderConfig config = defaultCalendarProviderConfig);
    ~EdsCalendarProvider() override;

    [[nodiscard]] QString providerID() const override { return QStringLiteral("eventkit"); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("System Calendar"); }

    [[nodiscard]] QCoro::Task<bool> isAuthorized() override;
    [[nodiscard]] QCoro::Task<bool> requestAccess() override;
    [[nodiscard]] QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override;

    // The enabled event calendars; throws CalendarProviderError::notAuthorized when the store cannot be reached.
    [[nodiscard]] QCoro::Task<QList<CalendarInfo>> listCalendars();

private:
    struct Connections;

    // EDS blocks and keeps thread-bound state, so every call runs on this single thread, never the GUI's.
    QThreadPool m_worker;
    std::unique_ptr<Connections> m_connections;
};

} // namespace bellwick
