#include "eventlisting.h"

#include "platform/error.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace bellwick {

namespace {

// Keeps one event on one line whatever its title or calendar name holds.
QString singleLine(QString text)
{
    for (QChar &c : text) {
        if (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator) {
            c = u' ';
        }
    }
    return text;
}

// ISO 8601 in local time with its offset, e.g. 2026-11-22T09:30:00.000+01:00.
QString isoLocalTime(const QDateTime &instant)
{
    const QDateTime local = instant.toLocalTime();
    return local.toOffsetFromUtc(local.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

QString localTime(const QDateTime &instant)
{
    return instant.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

void printColumns(const QList<CalendarEvent> &events, QTextStream &out)
{
    QList<QStringList> rows;
    QList<qsizetype> widths;
    for (const CalendarEvent &event : events) {
        rows.append(eventColumns(event));
        widths.resize(rows.last().size());
        for (qsizetype column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], rows.last().at(column).size());
        }
    }
    for (const QStringList &row : std::as_const(rows)) {
        QString line;
        for (qsizetype column = 0; column < row.size() - 1; ++column) {
            line += row.at(column).leftJustified(widths.at(column) + 2);
        }
        out << line << row.last() << '\n';
    }
}

} // namespace

QStringList eventColumns(const CalendarEvent &event)
{
    const QString start =
        event.isAllDay() ? event.startDate().toLocalTime().date().toString(Qt::ISODate) : localTime(event.startDate());
    const QString end = event.isAllDay() ? QStringLiteral("all day") : localTime(event.endDate());
    const QString service = event.meetingType() ? rawValue(*event.meetingType()) : QStringLiteral("-");
    const QString link = event.meetingURL() ? event.meetingURL()->toString() : QStringLiteral("-");
    return {start, end, singleLine(event.title()), singleLine(event.calendarName()), service, link};
}

QByteArray eventJson(const CalendarEvent &event)
{
    const auto optional = [](const auto &value, auto convert) {
        return value ? QJsonValue(convert(*value)) : QJsonValue(QJsonValue::Null);
    };
    const QJsonObject object{
        {QStringLiteral("id"), event.id()},
        {QStringLiteral("providerID"), event.providerID()},
        {QStringLiteral("title"), event.title()},
        {QStringLiteral("start"), isoLocalTime(event.startDate())},
        {QStringLiteral("end"), isoLocalTime(event.endDate())},
        {QStringLiteral("isAllDay"), event.isAllDay()},
        {QStringLiteral("calendar"), event.calendarName()},
        {QStringLiteral("location"), optional(event.location(), [](const QString &text) { return text; })},
        {QStringLiteral("meetingType"), optional(event.meetingType(), [](MeetingType type) { return rawValue(type); })},
        {QStringLiteral("meetingURL"), optional(event.meetingURL(), [](const QUrl &url) { return url.toString(); })},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QCoro::Task<int> listUpcomingEvents(QList<CalendarProvider *> providers, bool json, QTextStream &out,
                                    QTextStream &errors)
{
    int status = 0;
    QList<CalendarEvent> events;
    for (CalendarProvider *provider : providers) {
        try {
            events.append(co_await provider->fetchUpcomingEvents());
        } catch (const std::exception &error) {
            errors << provider->displayName() << ": " << localizedDescription(error) << Qt::endl;
            status = 1;
        }
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
    if (json) {
        for (const CalendarEvent &event : std::as_const(events)) {
            out << QString::fromUtf8(eventJson(event)) << '\n';
        }
    } else {
        printColumns(events, out);
    }
    out.flush();
    co_return status;
}

} // namespace bellwick
