#pragma once

#include "calendar/calendarevent.h"
#include "platform/error.h"

#include <QCoreApplication>
#include <QList>

#include <optional>

namespace bellwick {

// Microsoft Graph's calendar-view reply, as far as Bellwick reads it; member names are Graph's.
struct GraphBody {
    std::optional<QString> contentType;
    std::optional<QString> content;
};

struct GraphDateTime {
    std::optional<QString> dateTime;
    std::optional<QString> timeZone;
};

struct GraphLocation {
    std::optional<QString> displayName;
};

struct GraphOnlineMeeting {
    std::optional<QString> joinUrl;
};

struct GraphEvent {
    QString id;
    std::optional<QString> subject;
    std::optional<GraphBody> body;
    std::optional<GraphDateTime> start;
    std::optional<GraphDateTime> end;
    std::optional<GraphLocation> location;
    bool isAllDay = false;
    std::optional<GraphOnlineMeeting> onlineMeeting;
    std::optional<QString> webLink;
};

struct GraphCalendarResponse {
    QList<GraphEvent> value;
    // "@odata.nextLink": where the next page of the same view is.
    std::optional<QString> nextLink;
};

// A reply that is not a calendar view: not JSON, a required member missing, or a member of the wrong type.
class GraphDecodingError : public Error
{
    Q_DECLARE_TR_FUNCTIONS(GraphDecodingError)

public:
    explicit GraphDecodingError(QString detail) : m_detail(std::move(detail)) { }

    [[nodiscard]] QString errorDescription() const override;
    [[nodiscard]] QString debugDescription() const override;

private:
    QString m_detail;
};

// Reads a reply strictly; members that are absent or null count as absent, members not listed are ignored.
[[nodiscard]] GraphCalendarResponse decodeGraphCalendarResponse(const QByteArray &json);

// The event as Bellwick's record, or nothing when its start or end cannot be placed in time.
[[nodiscard]] std::optional<CalendarEvent> convertGraphEvent(const GraphEvent &event, const QString &providerID);

} // namespace bellwick
