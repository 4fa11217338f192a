#pragma once

#include "calendarprovider.h"

#include <exception>
#include <utility>

namespace bellwick {

// A source that answers from a list it is given: Bellwick's built-in demo calendar and the scripted source of tests.
class DemoCalendarProvider : public CalendarProvider
{
public:
    explicit DemoCalendarProvider(Clock &clock, QString providerID = QStringLiteral("demo"),
                                  QString displayName = QStringLiteral("Demo Calendar"));

    // A provider holding the demo events, placed relative to the clock's current time.
    [[nodiscard]] static std::unique_ptr<DemoCalendarProvider> withDemoEvents(Clock &clock);

    [[nodiscard]] QString providerID() const override { return m_providerID; }
    [[nodiscard]] QString displayName() const override { return m_displayName; }

    [[nodiscard]] QCoro::Task<bool> isAuthorized() override;
    [[nodiscard]] QCoro::Task<bool> requestAccess() override;
    [[nodiscard]] QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override;

    // Fetches answer with the events that overlap their window, in the order given here.
    void setEvents(QList<CalendarEvent> events) { m_events = std::move(events); }
    // Every fetch fails with this until it is cleared with a null pointer.
    void setFailure(std::exception_ptr failure) { m_failure = std::move(failure); }

    [[nodiscard]] int fetchCount() const { return m_fetchCount; }
    [[nodiscard]] const std::pair<QDateTime, QDateTime> &lastWindow() const { return m_lastWindow; }

private:
    QString m_providerID;
    QString m_displayName;
    QList<CalendarEvent> m_events;
    std::exception_ptr m_failure;
    int m_fetchCount = 0;
    std::pair<QDateTime, QDateTime> m_lastWindow;
};

// The demo calendar's events around `now`: a Zoom meeting in 3 min 10 s, a Teams meeting in 40 min, a meeting without
// a link in 2 hours, a Google Meet tomorrow morning and an all-day event today.
[[nodiscard]] QList<CalendarEvent> demoEvents(const QDateTime &now, const QString &providerID);

} // namespace bellwick
