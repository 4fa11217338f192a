#include "edscalendarprovider.h"

#include "calendar/calendarprovidererror.h"
#include "platform/diagnostics.h"

#include <QCoroFuture>
#include <QPromise>
#include <QTimeZone>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <map>

namespace bellwick {

namespace {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template<typename T> using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};
using OwnedText = std::unique_ptr<gchar, GFree>;

// Frees the error of one GLib call however the call ends.
class ErrorSlot
{
public:
    operator GError **() { return &m_error; }
    ~ErrorSlot()
    {
        if (m_error) {
            g_error_free(m_error);
        }
    }
    ErrorSlot() = default;
    ErrorSlot(const ErrorSlot &) = delete;
    ErrorSlot &operator=(const ErrorSlot &) = delete;
    [[nodiscard]] QString message() const
    {
        return m_error ? QString::fromUtf8(m_error->message) : QStringLiteral("unknown error");
    }

private:
    GError *m_error = nullptr;
};

// While a task runs its GLib callbacks go to a context of the worker thread rather than the GUI thread's
// default one, and whatever the clients queued is handled before the task looks at them.
class ThreadContext
{
public:
    explicit ThreadContext(GMainContext *context) : m_context(context)
    {
        g_main_context_push_thread_default(m_context);
        drain();
    }
    ~ThreadContext()
    {
        drain();
        g_main_context_pop_thread_default(m_context);
    }
    ThreadContext(const ThreadContext &) = delete;
    ThreadContext &operator=(const ThreadContext &) = delete;

private:
    void drain()
    {
        while (g_main_context_iteration(m_context, FALSE)) { }
    }

    GMainContext *m_context;
};

struct SourceList {
    GList *sources;
    ~SourceList() { g_list_free_full(sources, g_object_unref); }
};

ESourceSelectable *selectable(ESource *source)
{
    return static_cast<ESourceSelectable *>(e_source_get_extension(source, E_SOURCE_EXTENSION_CALENDAR));
}

std::optional<CalendarColor> parseColor(const gchar *text)
{
    const QString color = QString::fromUtf8(text).trimmed();
    const auto isHexDigit = [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
    };
    if (color.size() != 7 || color.front() != u'#' || !std::all_of(color.begin() + 1, color.end(), isHexDigit)) {
        return std::nullopt;
    }
    const auto component = [&](int index) { return color.mid(1 + 2 * index, 2).toUInt(nullptr, 16) / 255.0; };
    return CalendarColor{component(0), component(1), component(2), 1.0};
}

std::optional<CalendarColor> sourceColor(ESource *source)
{
    const OwnedText color(e_source_selectable_dup_color(selectable(source)));
    return color ? parseColor(color.get()) : std::nullopt;
}

ICalTimezone *localZone()
{
    ICalTimezone *zone = i_cal_timezone_get_builtin_timezone(QTimeZone::systemTimeZoneId().constData());
    return zone ? zone : i_cal_timezone_get_utc_timezone();
}

bool selected(const CalendarProviderConfig &config, const QString &uid)
{
    return !config.excludedCalendarIDs.contains(uid)
           && (!config.includedCalendarIDs || config.includedCalendarIDs->contains(uid));
}

struct Window {
    QDateTime from;
    QDateTime to;
};

// What one calendar's instances are converted with.
struct Conversion {
    ECalClient *client;
    ICalTimezone *local;
    QString calendarName;
    std::optional<CalendarColor> calendarColor;
    QList<CalendarEvent> events;
};

// Floating times and dates belong to the user's zone; a zone EDS cannot resolve is read the same way.
QDateTime utcInstant(const ICalTime *time, ICalTimezone *zoneOfTzid, ICalTimezone *local)
{
    ICalTimezone *zone = i_cal_time_is_utc(time) ? i_cal_timezone_get_utc_timezone() : i_cal_time_get_timezone(time);
    if (!zone) {
        zone = zoneOfTzid ? zoneOfTzid : local;
    }
    return QDateTime::fromSecsSinceEpoch(i_cal_time_as_timet_with_zone(time, zone), Qt::UTC);
}

QString recurrenceText(const ICalTime *time, const QDateTime &instant)
{
    if (i_cal_time_is_date(time)) {
        return QDate(i_cal_time_get_year(time), i_cal_time_get_month(time), i_cal_time_get_day(time))
            .toString(QStringLiteral("yyyyMMdd"));
    }
    return instant.toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
}

// EDS 3.46 hands a moved occurrence's recurrence id over in local time and later versions in UTC, so ids are
// built from the UTC instant to stay stable across versions.
std::optional<QString> recurrenceID(ICalComponent *component, ICalTime *instanceStart, const Conversion &conversion)
{
    const GObjectPtr<ICalProperty> property(i_cal_component_get_first_property(component, I_CAL_RECURRENCEID_PROPERTY));
    if (property) {
        const GObjectPtr<ICalTime> time(i_cal_property_get_recurrenceid(property.get()));
        const OwnedText tzid(i_cal_property_get_parameter_as_string(property.get(), "TZID"));
        ICalTimezone *zone = tzid ? e_cal_client_tzlookup_cb(tzid.get(), conversion.client, nullptr, nullptr) : nullptr;
        return recurrenceText(time.get(), utcInstant(time.get(), zone, conversion.local));
    }
    if (e_cal_util_component_has_recurrences(component)) {
        return recurrenceText(instanceStart, utcInstant(instanceStart, nullptr, conversion.local));
    }
    return std::nullopt;
}

std::optional<QString> optionalText(const gchar *text)
{
    return text ? std::optional(QString::fromUtf8(text)) : std::nullopt;
}

std::optional<CalendarEvent> convertEvent(ICalComponent *component, ICalTime *start, ICalTime *end,
                                          const Conversion &conversion)
{
    const gchar *uid = i_cal_component_get_uid(component);
    if (!uid || !start || i_cal_time_is_null_time(start) || !i_cal_time_is_valid_time(start)) {
        return std::nullopt;
    }
    const bool isAllDay = i_cal_time_is_date(start);
    const QDateTime startDate = utcInstant(start, nullptr, conversion.local);
    QDateTime endDate = end && !i_cal_time_is_null_time(end) ? utcInstant(end, nullptr, conversion.local) : startDate;
    if (isAllDay && endDate <= startDate) {
        endDate = startDate.toLocalTime().addDays(1).toUTC();
    }
    endDate = std::max(endDate, startDate);

    QString originalID = QString::fromUtf8(uid);
    if (const std::optional<QString> recurrence = recurrenceID(component, start, conversion)) {
        originalID += u'_' + *recurrence;
    }
    const QString summary = QString::fromUtf8(i_cal_component_get_summary(component));
    return CalendarEvent({
        .providerID = QStringLiteral("eventkit"),
        .originalID = originalID,
        .title = summary.isEmpty() ? QStringLiteral("Untitled Event") : summary,
        .notes = optionalText(i_cal_component_get_description(component)),
        .location = optionalText(i_cal_component_get_location(component)),
        .startDate = startDate,
        .endDate = endDate,
        .isAllDay = isAllDay,
        .calendarName = conversion.calendarName,
        .calendarColor = conversion.calendarColor,
    });
}

gboolean collectInstance(ICalComponent *component, ICalTime *start, ICalTime *end, gpointer data, GCancellable *,
                         GError **)
{
    auto *conversion = static_cast<Conversion *>(data);
    if (std::optional<CalendarEvent> event = convertEvent(component, start, end, *conversion)) {
        conversion->events.append(std::move(*event));
    }
    return TRUE;
}

bool wanted(const CalendarEvent &event, const Window &window, const CalendarProviderConfig &config)
{
    const bool overlaps = event.startDate() < window.to
                          && (event.endDate() > window.from
                              || (event.endDate() == event.startDate() && event.startDate() >= window.from));
    if (!overlaps || (event.isAllDay() && !config.includeAllDayEvents)) {
        return false;
    }
    return config.minimumDurationMinutes <= 0
           || event.startDate().secsTo(event.endDate()) / 60.0 >= config.minimumDurationMinutes;
}

// generate_instances_sync reports no failure, so an empty query goes first to surface a dead or broken backend.
constexpr const char *probeQuery =
    R"((occur-in-time-range? (make-time "19700101T000000Z") (make-time "19700101T000001Z")))";

} // namespace

struct EdsCalendarProvider::Connections {
    struct FetchOutcome {
        bool reachable = false;
        QList<CalendarEvent> events;
        QStringList diagnostics;
    };

    Connections() : context(g_main_context_new()) { }
    ~Connections() { g_main_context_unref(context); }
    Connections(const Connections &) = delete;
    Connections &operator=(const Connections &) = delete;

    template<typename Work> QFuture<std::invoke_result_t<Work &, Connections &>> run(QThreadPool &pool, Work work)
    {
        using Result = std::invoke_result_t<Work &, Connections &>;
        auto promise = std::make_shared<QPromise<Result>>();
        QFuture<Result> future = promise->future();
        promise->start();
        pool.start([this, promise, work = std::move(work)]() mutable {
            const ThreadContext scope(context);
            promise->addResult(work(*this));
            promise->finish();
        });
        return future;
    }

    void close()
    {
        const ThreadContext scope(context);
        clients.clear();
        registry.reset();
    }

    ESourceRegistry *connectRegistry(GError **error)
    {
        if (!registry) {
            registry.reset(e_source_registry_new_sync(nullptr, error));
        }
        return registry.get();
    }

    std::optional<QList<CalendarInfo>> calendars()
    {
        ESourceRegistry *reachable = connectRegistry(nullptr);
        if (!reachable) {
            return std::nullopt;
        }
        const SourceList list{e_source_registry_list_enabled(reachable, E_SOURCE_EXTENSION_CALENDAR)};
        QList<CalendarInfo> infos;
        for (GList *item = list.sources; item; item = item->next) {
            auto *source = static_cast<ESource *>(item->data);
            infos.append({QString::fromUtf8(e_source_get_uid(source)),
                          QString::fromUtf8(e_source_get_display_name(source)), sourceColor(source)});
        }
        return infos;
    }

    FetchOutcome fetch(const CalendarProviderConfig &config, const Window &window)
    {
        FetchOutcome outcome;
        ESourceRegistry *reachable = connectRegistry(nullptr);
        if (!reachable) {
            return outcome;
        }
        outcome.reachable = true;
        const SourceList list{e_source_registry_list_enabled(reachable, E_SOURCE_EXTENSION_CALENDAR)};
        QSet<QString> present;
        ICalTimezone *local = localZone();
        for (GList *item = list.sources; item; item = item->next) {
            auto *source = static_cast<ESource *>(item->data);
            const QString uid = QString::fromUtf8(e_source_get_uid(source));
            present.insert(uid);
            if (selected(config, uid)) {
                readCalendar(source, uid, local, window, config, outcome);
            }
        }
        std::erase_if(clients, [&](const auto &entry) { return !present.contains(entry.first); });
        std::stable_sort(outcome.events.begin(), outcome.events.end(),
                         [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
        return outcome;
    }

    // A cached client whose factory went away fails its first call; one fresh connection gets it back.
    void readCalendar(ESource *source, const QString &uid, ICalTimezone *local, const Window &window,
                      const CalendarProviderConfig &config, FetchOutcome &outcome)
    {
        const QString name = QString::fromUtf8(e_source_get_display_name(source));
        for (bool retry = clients.contains(uid);; retry = false) {
            ErrorSlot error;
            ECalClient *client = this->client(source, uid, local, error);
            if (client && query(client, local, window, config, name, sourceColor(source), outcome, error)) {
                return;
            }
            clients.erase(uid);
            if (!retry) {
                outcome.diagnostics.append(u"Skipping calendar \"" + name + u"\": " + error.message());
                return;
            }
        }
    }

    ECalClient *client(ESource *source, const QString &uid, ICalTimezone *local, GError **error)
    {
        auto found = clients.find(uid);
        if (found == clients.end()) {
            EClient *connected = e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS,
                                                           static_cast<guint32>(-1), nullptr, error);
            if (!connected) {
                return nullptr;
            }
            found = clients.emplace(uid, reinterpret_cast<ECalClient *>(connected)).first;
        }
        // Set on every read, since the user's zone may have changed since the client was opened.
        e_cal_client_set_default_timezone(found->second.get(), local);
        return found->second.get();
    }

    static bool query(ECalClient *client, ICalTimezone *local, const Window &window,
                      const CalendarProviderConfig &config, const QString &name, std::optional<CalendarColor> color,
                      FetchOutcome &outcome, GError **error)
    {
        GSList *probed = nullptr;
        if (!e_cal_client_get_object_list_sync(client, probeQuery, &probed, nullptr, error)) {
            return false;
        }
        g_slist_free_full(probed, g_object_unref);
        // EDS 3.46 compares the window in no time zone, so a day more on each side, then the real instants decide.
        Conversion conversion{client, local, name, color, {}};
        e_cal_client_generate_instances_sync(client, window.from.addDays(-1).toSecsSinceEpoch(),
                                             window.to.addDays(1).toSecsSinceEpoch(), nullptr, collectInstance,
                                             &conversion);
        for (CalendarEvent &event : conversion.events) {
            if (wanted(event, window, config)) {
                outcome.events.append(std::move(event));
            }
        }
        return true;
    }

    GMainContext *context;
    GObjectPtr<ESourceRegistry> registry;
    std::map<QString, GObjectPtr<ECalClient>> clients;
};

EdsCalendarProvider::EdsCalendarProvider(Clock &clock, CalendarProviderConfig config)
    : CalendarProvider(clock, std::move(config)), m_connections(std::make_unique<Connections>())
{
    m_worker.setMaxThreadCount(1);
    m_worker.setExpiryTimeout(-1);
}

EdsCalendarProvider::~EdsCalendarProvider()
{
    m_worker.start([this] { m_connections->close(); });
    m_worker.waitForDone();
}

// GCC 12 destroys temporaries of a co_await expression twice, so each future is made in a statement of its own.
QCoro::Task<bool> EdsCalendarProvider::isAuthorized()
{
    const QFuture<bool> reachable = m_connections->run(
        m_worker, [](Connections &connections) { return connections.connectRegistry(nullptr) != nullptr; });
    co_return co_await reachable;
}

QCoro::Task<bool> EdsCalendarProvider::requestAccess()
{
    const QFuture<std::optional<QString>> request =
        m_connections->run(m_worker, [](Connections &connections) -> std::optional<QString> {
            ErrorSlot error;
            if (connections.connectRegistry(error)) {
                return std::nullopt;
            }
            return error.message();
        });
    const std::optional<QString> failure = co_await request;
    if (failure) {
        diagnostic(u"EventKit access request failed: " + *failure);
    }
    co_return !failure;
}

QCoro::Task<QList<CalendarEvent>> EdsCalendarProvider::fetchEvents(QDateTime from, QDateTime to)
{
    if (config().includedCalendarIDs && config().includedCalendarIDs->isEmpty()) {
        co_return {};
    }
    const QFuture<Connections::FetchOutcome> fetch =
        m_connections->run(m_worker, [config = config(), window = Window{from.toUTC(), to.toUTC()}](
                                         Connections &connections) { return connections.fetch(config, window); });
    const Connections::FetchOutcome outcome = co_await fetch;
    for (const QString &line : outcome.diagnostics) {
        diagnostic(line);
    }
    if (!outcome.reachable) {
        throw CalendarProviderError::notAuthorized();
    }
    co_return outcome.events;
}

QCoro::Task<QList<CalendarInfo>> EdsCalendarProvider::listCalendars()
{
    const QFuture<std::optional<QList<CalendarInfo>>> listing =
        m_connections->run(m_worker, [](Connections &connections) { return connections.calendars(); });
    const std::optional<QList<CalendarInfo>> calendars = co_await listing;
    if (!calendars) {
        throw CalendarProviderError::notAuthorized();
    }
    co_return *calendars;
}

} // namespace bellwick
