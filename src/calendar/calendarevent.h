#pragma once

#include "calendarcolor.h"
#include "meetingtype.h"

#include <QDateTime>
#include <QHashFunctions>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace bellwick {

// One event from any calendar source, normalised and immutable; identity is its id alone.
class CalendarEvent
{
public:
    struct Fields {
        QString providerID{};
        QString originalID{};
        QString title{};
        std::optional<QString> notes{};
        std::optional<QString> location{};
        QDateTime startDate{};
        QDateTime endDate{};
        bool isAllDay = false;
        // A link the source knows; when absent the link is searched for in notes and location.
        std::optional<QUrl> meetingURL{};
        // A conference link of the source's own record, taken only when notes and location hold no meeting link.
        std::optional<QUrl> conferenceURL{};
        QString calendarName{};
        std::optional<CalendarColor> calendarColor{};
    };

    explicit CalendarEvent(Fields fields);

    // Another occurrence of the same meeting: everything but the id and the times carries over, the link too, which
    // is not searched for again.
    [[nodiscard]] CalendarEvent occurrence(QString originalID, QDateTime startDate, QDateTime endDate,
                                           bool isAllDay) const;

    [[nodiscard]] const QString &id() const { return m_id; }
    [[nodiscard]] const QString &providerID() const { return m_fields.providerID; }
    [[nodiscard]] const QString &originalID() const { return m_fields.originalID; }
    [[nodiscard]] const QString &title() const { return m_fields.title; }
    [[nodiscard]] const std::optional<QString> &notes() const { return m_fields.notes; }
    [[nodiscard]] const std::optional<QString> &location() const { return m_fields.location; }
    [[nodiscard]] const QDateTime &startDate() const { return m_fields.startDate; }
    [[nodiscard]] const QDateTime &endDate() const { return m_fields.endDate; }
    [[nodiscard]] bool isAllDay() const { return m_fields.isAllDay; }
    [[nodiscard]] const std::optional<QUrl> &meetingURL() const { return m_fields.meetingURL; }
    [[nodiscard]] std::optional<MeetingType> meetingType() const { return m_meetingType; }
    [[nodiscard]] const QString &calendarName() const { return m_fields.calendarName; }
    [[nodiscard]] const std::optional<CalendarColor> &calendarColor() const { return m_fields.calendarColor; }

    friend bool operator==(const CalendarEvent &a, const CalendarEvent &b) { return a.m_id == b.m_id; }

private:
    QString m_id;
    Fields m_fields;
    std::optional<MeetingType> m_meetingType;
};

inline size_t qHash(const CalendarEvent &event, size_t seed = 0) noexcept
{
    return qHash(event.id(), seed);
}

} // namespace bellwick

template<> struct std::hash<bellwick::CalendarEvent> {
    size_t operator()(const bellwick::CalendarEvent &event) const noexcept { return qHash(event.id()); }
};
