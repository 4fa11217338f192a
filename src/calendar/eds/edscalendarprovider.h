#pragma once

#include "calendar/calendarprovider.h"

#include <QObject>

#include <chrono>
#include <memory>

namespace bellwick {

// One calendar of the system's calendar store, as a settings window lists it.
struct CalendarInfo {
    QString identifier;
    QString title;
    std::optional<CalendarColor> color;

    friend bool operator==(const CalendarInfo &, const CalendarInfo &) = default;
};

// The calendars of Evolution Data Server, the calendar store of GNOME and other Linux desktops. Reports a change of
// any calendar it has read, or of the list of calendars, through its change handler and `storeChanged`.
class EdsCalendarProvider : public QObject, public CalendarProvider
{
    Q_OBJECT

public:
    // A calendar that has not answered `readTimeout` into a fetch is skipped in that fetch.
    explicit EdsCalendarProvider(Clock &clock, CalendarProviderConfig config = defaultCalendarProviderConfig,
                                 std::chrono::milliseconds readTimeout = std::chrono::seconds(10));
    ~EdsCalendarProvider() override;

    [[nodiscard]] QString providerID() const override { return QStringLiteral("eventkit"); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("System Calendar"); }

    [[nodiscard]] QCoro::Task<bool> isAuthorized() override;
    [[nodiscard]] QCoro::Task<bool> requestAccess() override;
    [[nodiscard]] QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override;

    // The enabled event calendars; throws CalendarProviderError::notAuthorized when the store cannot be reached.
    [[nodiscard]] QCoro::Task<QList<CalendarInfo>> listCalendars();

Q_SIGNALS:
    // A calendar was added, removed, switched or edited; the registry also fills in late after it connects.
    void storeChanged();

private:
    class Worker;

    std::shared_ptr<Worker> m_worker;
};

} // namespace bellwick
