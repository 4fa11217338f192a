#include "graphevent.h"

#include "calendar/meetinglinks.h"
#include "platform/diagnostics.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <algorithm>

namespace bellwick {

namespace {

// Where a member sits in the reply, spelt out only when decoding fails.
struct Path {
    const Path *parent = nullptr;
    QLatin1StringView key{};
    qsizetype index = -1;

    [[nodiscard]] Path member(const char *name) const { return {this, QLatin1StringView(name)}; }
    [[nodiscard]] QString text() const
    {
        const QString prefix = parent ? parent->text() : QString();
        if (index >= 0) {
            return prefix + u'[' + QString::number(index) + u']';
        }
        return prefix.isEmpty() ? QString(key) : prefix + u'.' + key;
    }
};

[[noreturn]] void fail(const Path &path, const char *problem)
{
    throw GraphDecodingError(path.text() + u' ' + QLatin1String(problem));
}

// Null reads as absent, as Graph writes either for a member without a value.
std::optional<QJsonValue> member(const QJsonObject &object, const Path &path)
{
    QJsonValue value = object.value(path.key);
    if (value.isUndefined() || value.isNull()) {
        return std::nullopt;
    }
    return value;
}

QJsonValue requiredMember(const QJsonObject &object, const Path &path)
{
    std::optional<QJsonValue> value = member(object, path);
    if (!value) {
        fail(path, "is missing");
    }
    return *value;
}

std::optional<QString> optionalString(const QJsonObject &object, const Path &path)
{
    const std::optional<QJsonValue> value = member(object, path);
    if (value && !value->isString()) {
        fail(path, "is not a string");
    }
    return value ? std::optional(value->toString()) : std::nullopt;
}

template<typename Record, typename Read>
std::optional<Record> optionalRecord(const QJsonObject &object, const Path &path, Read read)
{
    const std::optional<QJsonValue> value = member(object, path);
    if (value && !value->isObject()) {
        fail(path, "is not an object");
    }
    return value ? std::optional(read(value->toObject(), path)) : std::nullopt;
}

GraphDateTime readDateTime(const QJsonObject &object, const Path &path)
{
    return {optionalString(object, path.member("dateTime")), optionalString(object, path.member("timeZone"))};
}

GraphEvent readEvent(const QJsonObject &object, const Path &path)
{
    GraphEvent event;
    const QJsonValue id = requiredMember(object, path.member("id"));
    if (!id.isString()) {
        fail(path.member("id"), "is not a string");
    }
    event.id = id.toString();
    const QJsonValue isAllDay = requiredMember(object, path.member("isAllDay"));
    if (!isAllDay.isBool()) {
        fail(path.member("isAllDay"), "is not a boolean");
    }
    event.isAllDay = isAllDay.toBool();
    event.subject = optionalString(object, path.member("subject"));
    event.webLink = optionalString(object, path.member("webLink"));
    event.body = optionalRecord<GraphBody>(object, path.member("body"), [](const QJsonObject &body, const Path &at) {
        return GraphBody{optionalString(body, at.member("contentType")), optionalString(body, at.member("content"))};
    });
    event.start = optionalRecord<GraphDateTime>(object, path.member("start"), readDateTime);
    event.end = optionalRecord<GraphDateTime>(object, path.member("end"), readDateTime);
    event.location =
        optionalRecord<GraphLocation>(object, path.member("location"), [](const QJsonObject &location, const Path &at) {
            return GraphLocation{optionalString(location, at.member("displayName"))};
        });
    event.onlineMeeting = optionalRecord<GraphOnlineMeeting>(
        object, path.member("onlineMeeting"), [](const QJsonObject &meeting, const Path &at) {
            return GraphOnlineMeeting{optionalString(meeting, at.member("joinUrl"))};
        });
    return event;
}

// Graph names zones by IANA id or by Windows name.
std::optional<QTimeZone> namedZone(const std::optional<QString> &name)
{
    if (!name) {
        return std::nullopt;
    }
    const QByteArray id = name->toUtf8();
    if (QTimeZone zone(id); zone.isValid()) {
        return zone;
    }
    const QByteArray iana = QTimeZone::windowsIdToDefaultIanaId(id);
    if (QTimeZone zone(iana); !iana.isEmpty() && zone.isValid()) {
        return zone;
    }
    return std::nullopt;
}

// A wall time as Graph writes it, with what follows it: nothing, "Z", or an offset from UTC.
struct WallTime {
    QDate date;
    QTime time;
    enum class Designator { none, utc, offset } designator = Designator::none;
    int offsetSeconds = 0;
};

// Reads yyyy-MM-ddTHH:mm:ss with up to nine digits of fraction (Graph writes seven) and an optional "Z" or ±hh:mm.
// By hand rather than by pattern: a reply holds two of these per event.
std::optional<WallTime> readWallTime(QStringView text)
{
    const auto number = [&text](qsizetype at, qsizetype count) {
        int value = 0;
        for (qsizetype index = at; index < at + count; ++index) {
            const char16_t digit = text[index].unicode();
            if (digit < u'0' || digit > u'9') {
                return -1;
            }
            value = value * 10 + (digit - u'0');
        }
        return value;
    };
    if (text.size() < 19 || text[4] != u'-' || text[7] != u'-' || text[10] != u'T' || text[13] != u':'
        || text[16] != u':') {
        return std::nullopt;
    }
    qsizetype at = 19;
    int milliseconds = 0;
    if (at < text.size() && text[at] == u'.') {
        const qsizetype first = ++at;
        while (at < text.size() && number(at, 1) >= 0) {
            ++at;
        }
        if (at == first || at - first > 9) {
            return std::nullopt;
        }
        milliseconds = number(first, std::min<qsizetype>(at - first, 3));
        for (qsizetype digits = at - first; digits < 3; ++digits) {
            milliseconds *= 10;
        }
    }
    WallTime wall{QDate(number(0, 4), number(5, 2), number(8, 2)),
                  QTime(number(11, 2), number(14, 2), number(17, 2), milliseconds)};
    const QStringView rest = text.sliced(at);
    if (rest == u"Z") {
        wall.designator = WallTime::Designator::utc;
    } else if (rest.size() == 6 && (rest[0] == u'+' || rest[0] == u'-') && rest[3] == u':' && number(at + 1, 2) >= 0
               && number(at + 4, 2) >= 0) {
        wall.designator = WallTime::Designator::offset;
        wall.offsetSeconds = (rest[0] == u'-' ? -1 : 1) * (number(at + 1, 2) * 3600 + number(at + 4, 2) * 60);
    } else if (!rest.isEmpty()) {
        return std::nullopt;
    }
    if (!wall.date.isValid() || !wall.time.isValid()) {
        return std::nullopt;
    }
    return wall;
}

void reportLeftOut(const QString &eventID, const char *reason, const QString &value)
{
    diagnostic(QStringLiteral("Outlook event %1 left out: %2 \"%3\"").arg(eventID, QLatin1String(reason), value));
}

std::optional<QDateTime> instant(const std::optional<GraphDateTime> &value, const QString &eventID)
{
    if (!value || !value->dateTime) {
        return std::nullopt;
    }
    const std::optional<WallTime> wall = readWallTime(*value->dateTime);
    if (!wall) {
        reportLeftOut(eventID, "unreadable time", *value->dateTime);
        return std::nullopt;
    }
    using Designator = WallTime::Designator;
    if (wall->designator == Designator::utc
        || (wall->designator == Designator::none && value->timeZone == QLatin1String("UTC"))) {
        // Graph's usual answer, kept off QTimeZone's much slower path.
        return QDateTime(wall->date, wall->time, Qt::UTC);
    }
    const std::optional<QTimeZone> zone = wall->designator == Designator::offset
                                              ? std::optional(QTimeZone(wall->offsetSeconds))
                                              : namedZone(value->timeZone);
    if (!zone || !zone->isValid()) {
        reportLeftOut(eventID, "unknown time zone", value->timeZone.value_or(QString()));
        return std::nullopt;
    }
    return QDateTime(wall->date, wall->time, *zone).toUTC();
}

} // namespace

QString GraphDecodingError::errorDescription() const
{
    return tr("The calendar service's reply could not be read: ") + m_detail;
}

QString GraphDecodingError::debugDescription() const
{
    return QStringLiteral("decodingFailed(") + m_detail + u')';
}

GraphCalendarResponse decodeGraphCalendarResponse(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        throw GraphDecodingError(
            QStringLiteral("not JSON (%1 at offset %2)").arg(error.errorString()).arg(error.offset));
    }
    if (!document.isObject()) {
        throw GraphDecodingError(QStringLiteral("the reply is not an object"));
    }
    const QJsonObject root = document.object();
    const Path valuePath{nullptr, QLatin1StringView("value")};
    const QJsonValue value = requiredMember(root, valuePath);
    if (!value.isArray()) {
        fail(valuePath, "is not an array");
    }
    GraphCalendarResponse response;
    const QJsonArray events = value.toArray();
    response.value.reserve(events.size());
    for (qsizetype index = 0; index < events.size(); ++index) {
        const Path path{&valuePath, {}, index};
        const QJsonValue event = events.at(index);
        if (!event.isObject()) {
            fail(path, "is not an object");
        }
        response.value.append(readEvent(event.toObject(), path));
    }
    response.nextLink = optionalString(root, Path{nullptr, QLatin1StringView("@odata.nextLink")});
    return response;
}

std::optional<CalendarEvent> convertGraphEvent(const GraphEvent &event, const QString &providerID)
{
    const std::optional<QDateTime> start = instant(event.start, event.id);
    if (!start) {
        return std::nullopt;
    }
    const std::optional<QDateTime> end = instant(event.end, event.id);
    if (!end) {
        return std::nullopt;
    }
    std::optional<QUrl> joinURL;
    if (event.onlineMeeting && event.onlineMeeting->joinUrl) {
        joinURL = parseMeetingURL(*event.onlineMeeting->joinUrl);
    }
    return CalendarEvent({
        .providerID = providerID,
        .originalID = event.id,
        .title = event.subject.value_or(QCoreApplication::translate("CalendarEvent", "Untitled Event")),
        .notes = event.body ? event.body->content : std::nullopt,
        .location = event.location ? event.location->displayName : std::nullopt,
        .startDate = *start,
        .endDate = *end,
        .isAllDay = event.isAllDay,
        .meetingURL = joinURL,
        .calendarName = QStringLiteral("Outlook"),
    });
}

} // namespace bellwick
