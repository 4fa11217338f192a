#include "edsoccurrences.h"

#include "calendar/meetinglinks.h"
#include "edszones.h"

#include <QCoreApplication>

#include <array>

namespace bellwick {

namespace {

// Where calendars other than the description hand over the meeting's own link, in order of preference.
constexpr std::array conferenceProperties{"CONFERENCE", "X-GOOGLE-CONFERENCE", "X-MICROSOFT-SKYPETEAMSMEETINGURL"};

QDate date(const ICalTime *time)
{
    return {i_cal_time_get_year(time), i_cal_time_get_month(time), i_cal_time_get_day(time)};
}

// Dates, floating times and times in a zone nobody knows are the user's wall time; Qt knows the user's zone even
// where libical does not.
QDateTime instant(const ICalTime *time, ICalTimezone *zone)
{
    if (i_cal_time_is_date(time)) {
        return QDateTime(date(time), QTime(0, 0), Qt::LocalTime).toUTC();
    }
    if (i_cal_time_is_utc(time)) {
        zone = i_cal_timezone_get_utc_timezone();
    }
    if (zone) {
        return QDateTime::fromSecsSinceEpoch(i_cal_time_as_timet_with_zone(time, zone), Qt::UTC);
    }
    const QTime wallTime(i_cal_time_get_hour(time), i_cal_time_get_minute(time), i_cal_time_get_second(time));
    return QDateTime(date(time), wallTime, Qt::LocalTime).toUTC();
}

// A moved occurrence names its slot in local time in EDS 3.46 and in UTC later, so slots are compared as UTC text.
QString slotText(const ICalTime *time, const QDateTime &slot)
{
    return i_cal_time_is_date(time) ? date(time).toString(QStringLiteral("yyyyMMdd"))
                                    : slot.toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
}

QString eventIdentifier(const QString &uid, const std::optional<QString> &recurrence)
{
    QString escaped = uid;
    escaped.replace(u'%', QStringLiteral("%25")).replace(u'_', QStringLiteral("%5F"));
    return recurrence ? escaped + u'_' + *recurrence : escaped;
}

std::optional<QString> optionalText(const gchar *text)
{
    return text ? std::optional(QString::fromUtf8(text)) : std::nullopt;
}

bool isCancelled(ICalComponent *component)
{
    return i_cal_component_get_status(component) == I_CAL_STATUS_CANCELLED;
}

bool isRecurring(ICalComponent *component)
{
    return e_cal_util_component_has_recurrences(component);
}

std::optional<QUrl> conferenceURL(ICalComponent *component)
{
    for (const char *name : conferenceProperties) {
        for (GObjectPtr<ICalProperty> property(i_cal_component_get_first_property(component, I_CAL_ANY_PROPERTY));
             property; property.reset(i_cal_component_get_next_property(component, I_CAL_ANY_PROPERTY))) {
            const OwnedText propertyName(i_cal_property_get_property_name(property.get()));
            if (qstrcmp(propertyName.get(), name) != 0) {
                continue;
            }
            const OwnedText value(i_cal_property_get_value_as_string(property.get()));
            const std::optional<QUrl> url = parseMeetingURL(QString::fromUtf8(value.get()).trimmed());
            if (url && (url->scheme() == u"https" || url->scheme() == u"http")) {
                return url;
            }
        }
    }
    return std::nullopt;
}

struct Collected {
    EdsZones::Lookup lookup;
    std::vector<std::pair<GObjectPtr<ICalTime>, GObjectPtr<ICalTime>>> times;
};

gboolean collect(ICalComponent *, ICalTime *start, ICalTime *end, gpointer data, GCancellable *, GError **)
{
    static_cast<Collected *>(data)->times.emplace_back(i_cal_time_clone(start), i_cal_time_clone(end));
    return TRUE;
}

GObjectPtr<ICalTime> utcTime(const QDateTime &instant)
{
    return GObjectPtr<ICalTime>(
        i_cal_time_new_from_timet_with_zone(instant.toSecsSinceEpoch(), FALSE, i_cal_timezone_get_utc_timezone()));
}

} // namespace

EdsOccurrences::EdsOccurrences(EdsZones &zones, ECalClient *client, Calendar calendar)
    : m_zones(zones), m_client(client), m_calendar(std::move(calendar))
{ }

void EdsOccurrences::add(GObjectPtr<ICalComponent> component)
{
    const QString uid = QString::fromUtf8(i_cal_component_get_uid(component.get()));
    const GObjectPtr<ICalTime> start(i_cal_component_get_dtstart(component.get()));
    if (i_cal_component_isa(component.get()) != I_CAL_VEVENT_COMPONENT || uid.isEmpty() || !start
        || i_cal_time_is_null_time(start.get()) || !i_cal_time_is_valid_time(start.get())) {
        return;
    }
    Series &series = m_series[uid];
    if (e_cal_util_component_is_instance(component.get())) {
        series.moved.push_back(std::move(component));
    } else {
        series.master = std::move(component);
    }
}

QSet<QString> EdsOccurrences::zoneIDs() const
{
    QSet<QString> ids;
    const auto collectIDs = [&ids](ICalComponent *component) {
        for (GObjectPtr<ICalProperty> property(i_cal_component_get_first_property(component, I_CAL_ANY_PROPERTY));
             property; property.reset(i_cal_component_get_next_property(component, I_CAL_ANY_PROPERTY))) {
            const OwnedText tzid(i_cal_property_get_parameter_as_string(property.get(), "TZID"));
            if (tzid) {
                ids.insert(QString::fromUtf8(tzid.get()));
            }
        }
    };
    for (const auto &[uid, series] : m_series) {
        if (series.master) {
            collectIDs(series.master.get());
        }
        for (const GObjectPtr<ICalComponent> &moved : series.moved) {
            collectIDs(moved.get());
        }
    }
    return ids;
}

bool EdsOccurrences::expand(const QDateTime &from, const QDateTime &to, GCancellable *cancellable,
                            QList<CalendarEvent> &events, GError **error)
{
    for (const auto &[uid, series] : m_series) {
        if (series.master && isCancelled(series.master.get())) {
            continue;
        }
        QSet<QString> movedSlots;
        for (const GObjectPtr<ICalComponent> &moved : series.moved) {
            movedSlots.insert(recurrenceID(moved.get()));
        }
        std::vector<Occurrence> found;
        if (series.master && !isUserDeclined(series.master.get())) {
            if (!occurrences(series.master.get(), from, to, cancellable, found, error)) {
                return false;
            }
            const bool recurring = isRecurring(series.master.get());
            std::optional<CalendarEvent> first;
            for (const Occurrence &occurrence : found) {
                if (!movedSlots.contains(occurrence.slot)) {
                    events.append(event(series.master.get(), occurrence,
                                        recurring ? std::optional(occurrence.slot) : std::nullopt, first));
                }
            }
        }
        for (const GObjectPtr<ICalComponent> &moved : series.moved) {
            if (isCancelled(moved.get()) || isUserDeclined(moved.get())) {
                continue;
            }
            found.clear();
            if (!occurrences(moved.get(), from, to, cancellable, found, error)) {
                return false;
            }
            std::optional<CalendarEvent> first;
            for (const Occurrence &occurrence : found) {
                events.append(event(moved.get(), occurrence, recurrenceID(moved.get()), first));
            }
        }
    }
    return true;
}

bool EdsOccurrences::occurrences(ICalComponent *component, const QDateTime &from, const QDateTime &to,
                                 GCancellable *cancellable, std::vector<Occurrence> &found, GError **error)
{
    Collected collected{{&m_zones, m_client}, {}};
    const GObjectPtr<ICalTime> start = utcTime(from);
    const GObjectPtr<ICalTime> end = utcTime(to);
    if (!e_cal_recur_generate_instances_sync(component, start.get(), end.get(), collect, &collected, EdsZones::resolve,
                                             &collected.lookup, nullptr, cancellable, error)) {
        return false;
    }
    for (const auto &[begin, finish] : collected.times) {
        const QDateTime startDate = instant(begin.get(), i_cal_time_get_timezone(begin.get()));
        QDateTime endDate = instant(finish.get(), i_cal_time_get_timezone(finish.get()));
        const bool isAllDay = i_cal_time_is_date(begin.get());
        if (isAllDay && endDate <= startDate) {
            endDate = startDate.toLocalTime().addDays(1).toUTC();
        }
        found.push_back({startDate, std::max(endDate, startDate), isAllDay, slotText(begin.get(), startDate)});
    }
    return true;
}

QString EdsOccurrences::recurrenceID(ICalComponent *component)
{
    const GObjectPtr<ICalProperty> property(i_cal_component_get_first_property(component, I_CAL_RECURRENCEID_PROPERTY));
    const GObjectPtr<ICalTime> time(i_cal_property_get_recurrenceid(property.get()));
    const OwnedText tzid(i_cal_property_get_parameter_as_string(property.get(), "TZID"));
    ICalTimezone *zone = tzid ? m_zones.zone(m_client, QString::fromUtf8(tzid.get())) : nullptr;
    return slotText(time.get(), instant(time.get(), zone));
}

bool EdsOccurrences::isUserDeclined(ICalComponent *component) const
{
    for (GObjectPtr<ICalProperty> attendee(i_cal_component_get_first_property(component, I_CAL_ATTENDEE_PROPERTY));
         attendee; attendee.reset(i_cal_component_get_next_property(component, I_CAL_ATTENDEE_PROPERTY))) {
        QString address = QString::fromUtf8(i_cal_property_get_attendee(attendee.get())).trimmed().toLower();
        if (address.startsWith(u"mailto:")) {
            address.remove(0, 7);
        }
        if (!m_calendar.userAddresses.contains(address)) {
            continue;
        }
        const GObjectPtr<ICalParameter> status(
            i_cal_property_get_first_parameter(attendee.get(), I_CAL_PARTSTAT_PARAMETER));
        return status && i_cal_parameter_get_partstat(status.get()) == I_CAL_PARTSTAT_DECLINED;
    }
    return false;
}

CalendarEvent EdsOccurrences::event(ICalComponent *component, const Occurrence &occurrence,
                                    const std::optional<QString> &recurrence, std::optional<CalendarEvent> &first) const
{
    QString originalID = eventIdentifier(QString::fromUtf8(i_cal_component_get_uid(component)), recurrence);
    if (first) {
        return first->occurrence(std::move(originalID), occurrence.start, occurrence.end, occurrence.isAllDay);
    }
    const QString summary = QString::fromUtf8(i_cal_component_get_summary(component));
    first = CalendarEvent({
        .providerID = m_calendar.providerID,
        .originalID = std::move(originalID),
        .title = summary.isEmpty() ? QCoreApplication::translate("CalendarEvent", "Untitled Event") : summary,
        .notes = optionalText(i_cal_component_get_description(component)),
        .location = optionalText(i_cal_component_get_location(component)),
        .startDate = occurrence.start,
        .endDate = occurrence.end,
        .isAllDay = occurrence.isAllDay,
        .conferenceURL = conferenceURL(component),
        .calendarName = m_calendar.name,
        .calendarColor = m_calendar.color,
    });
    return *first;
}

} // namespace bellwick
