#include "democalendarprovider.h"

#include "platform/clock.h"

namespace bellwick {

namespace {

constexpr CalendarColor workColor{0.20, 0.47, 0.96, 1.0};
constexpr CalendarColor personalColor{0.30, 0.75, 0.40, 1.0};

} // namespace

DemoCalendarProvider::DemoCalendarProvider(Clock &clock, QString providerID, QString displayName)
    : CalendarProvider(clock), m_providerID(std::move(providerID)), m_displayName(std::move(displayName))
{ }

std::unique_ptr<DemoCalendarProvider> DemoCalendarProvider::withDemoEvents(Clock &clock)
{
    auto provider = std::make_unique<DemoCalendarProvider>(clock);
    provider->setEvents(demoEvents(clock.now(), provider->providerID()));
    return provider;
}

QCoro::Task<bool> DemoCalendarProvider::isAuthorized()
{
    co_return true;
}

QCoro::Task<bool> DemoCalendarProvider::requestAccess()
{
    co_return true;
}

QCoro::Task<QList<CalendarEvent>> DemoCalendarProvider::fetchEvents(QDateTime from, QDateTime to)
{
    ++m_fetchCount;
    m_lastWindow = {from, to};
    if (m_failure) {
        std::rethrow_exception(m_failure);
    }
    QList<CalendarEvent> overlapping;
    for (const CalendarEvent &event : std::as_const(m_events)) {
        if (event.startDate() < to && event.endDate() > from) {
            overlapping.append(event);
        }
    }
    co_return overlapping;
}

QList<CalendarEvent> demoEvents(const QDateTime &now, const QString &providerID)
{
    const QDate today = now.toLocalTime().date();
    const QDate tomorrow = today.addDays(1);
    const auto after = [&](int minutes, int seconds = 0) { return now.addSecs(minutes * 60 + seconds); };

    QList<CalendarEvent> events;
    events.append(CalendarEvent({
        .providerID = providerID,
        .originalID = QStringLiteral("design-review"),
        .title = QStringLiteral("Design review"),
        .notes = QStringLiteral("Agenda: walk through the new onboarding flow.\n\n"
                                "Join Zoom Meeting\n"
                                "https://us02web.zoom.us/j/81234567890?pwd=QmVsbHdpY2sgZGVtbw\n\n"
                                "Meeting ID: 812 3456 7890"),
        .location = std::nullopt,
        .startDate = after(3, 10),
        .endDate = after(33, 10),
        .calendarName = QStringLiteral("Work"),
        .calendarColor = workColor,
    }));
    events.append(CalendarEvent({
        .providerID = providerID,
        .originalID = QStringLiteral("team-sync"),
        .title = QStringLiteral("Weekly team sync"),
        .notes = QStringLiteral(
            "<html><body><p>Microsoft Teams meeting</p>"
            "<p><b>Join on your computer or mobile app</b><br>"
            "<a href=\"https://teams.microsoft.com/l/meetup-join/19%3ameeting_QmVsbHdpY2s%40thread.v2/0\">"
            "Click here to join the meeting</a></p></body></html>"),
        .location = QStringLiteral("Microsoft Teams Meeting"),
        .startDate = after(40),
        .endDate = after(70),
        .calendarName = QStringLiteral("Work"),
        .calendarColor = workColor,
    }));
    events.append(CalendarEvent({
        .providerID = providerID,
        .originalID = QStringLiteral("budget"),
        .title = QStringLiteral("Budget review"),
        .notes = QStringLiteral("Bring the Q4 numbers."),
        .location = QStringLiteral("Room 4.12, second floor"),
        .startDate = after(120),
        .endDate = after(180),
        .calendarName = QStringLiteral("Work"),
        .calendarColor = workColor,
    }));
    events.append(CalendarEvent({
        .providerID = providerID,
        .originalID = QStringLiteral("roadmap"),
        .title = QStringLiteral("Product roadmap chat"),
        .location = QStringLiteral("https://meet.google.com/abc-defg-hij"),
        .startDate = QDateTime(tomorrow, QTime(9, 30)).toUTC(),
        .endDate = QDateTime(tomorrow, QTime(10, 0)).toUTC(),
        .calendarName = QStringLiteral("Work"),
        .calendarColor = workColor,
    }));
    events.append(CalendarEvent({
        .providerID = providerID,
        .originalID = QStringLiteral("offsite"),
        .title = QStringLiteral("Team offsite"),
        .startDate = today.startOfDay().toUTC(),
        .endDate = tomorrow.startOfDay().toUTC(),
        .isAllDay = true,
        .calendarName = QStringLiteral("Personal"),
        .calendarColor = personalColor,
    }));
    return events;
}

} // namespace bellwick
