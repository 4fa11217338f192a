#include "edscalendarprovider.h"

#include "calendar/calendarprovidererror.h"
#include "edsoccurrences.h"
#include "edszones.h"
#include "glibhandles.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"

#include <QColor>
#include <QCoreApplication>
#include <QCoroFuture>
#include <QPromise>
#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>
#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace bellwick {

namespace {

// While a calendar fails, its last good events stand in for it this long, so a hiccup does not drop a meeting.
constexpr qint64 lastGoodLifetimeSeconds = 15 * 60;
// EDS 3.46 matches dates, floating times and zones it does not know to a window as if they were UTC; no wall clock is
// further from UTC than this, so a query this much wider on each side misses none of them.
constexpr qint64 widestZoneOffsetSeconds = 14 * 3600;
// An expansion reaches this far past the window asked for, so the polls of the next hours, whose windows slide
// forward with time, are served from it while the calendar does not change.
constexpr qint64 expansionLeadSeconds = 4 * 3600;

struct Window {
    QDateTime from;
    QDateTime to;
};

struct FetchRequest {
    CalendarProviderConfig config;
    Window window;
    QDateTime now;
    QString providerID;
};

struct FetchOutcome {
    bool reachable = false;
    QList<CalendarEvent> events;
    QStringList diagnostics;
};

struct SourceList {
    explicit SourceList(GList *list) : sources(list) { }
    GList *sources;
    SourceList(const SourceList &) = delete;
    SourceList &operator=(const SourceList &) = delete;
    ~SourceList() { g_list_free_full(sources, g_object_unref); }
};

bool selected(const CalendarProviderConfig &config, const QString &uid)
{
    return !config.excludedCalendarIDs.contains(uid)
           && (!config.includedCalendarIDs || config.includedCalendarIDs->contains(uid));
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

// Desktops write "rgb(r,g,b)" and "rgba(r,g,b,a)" as GTK does, and "#rrggbbaa", which QColor reads as #aarrggbb.
QColor readColor(const QString &text)
{
    static const QRegularExpression function(
        QStringLiteral(
            "^rgba?\\(\\s*(\\d{1,3})\\s*,\\s*(\\d{1,3})\\s*,\\s*(\\d{1,3})\\s*(?:,\\s*(\\d*\\.?\\d+)\\s*)?\\)$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = function.match(text);
    if (match.hasMatch()) {
        QColor color(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt());
        if (match.hasCaptured(4) && color.isValid()) {
            color.setAlphaF(std::clamp(match.captured(4).toFloat(), 0.0F, 1.0F));
        }
        return color;
    }
    if (text.size() == 9 && text.startsWith(u'#')) {
        return QColor::fromString(u'#' + text.right(2) + text.mid(1, 6));
    }
    return QColor::fromString(text);
}

std::optional<CalendarColor> sourceColor(ESource *source)
{
    auto *calendar = static_cast<ESourceSelectable *>(e_source_get_extension(source, E_SOURCE_EXTENSION_CALENDAR));
    const OwnedText text(e_source_selectable_dup_color(calendar));
    const QString trimmed = QString::fromUtf8(text.get()).trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    const QColor color = readColor(trimmed);
    if (!color.isValid()) {
        return systemBlue;
    }
    const QRgba64 components = color.rgba64();
    const auto unit = [](quint16 component) { return component / 65535.0; };
    return CalendarColor{unit(components.red()), unit(components.green()), unit(components.blue()),
                         unit(components.alpha())};
}

QString uidOf(ESource *source)
{
    return QString::fromUtf8(e_source_get_uid(source));
}

QString nameOf(ESource *source)
{
    return QString::fromUtf8(e_source_get_display_name(source));
}

QStringList identityAddresses(ESourceRegistry *registry)
{
    const SourceList list{e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_MAIL_IDENTITY)};
    QStringList addresses;
    for (GList *item = list.sources; item; item = item->next) {
        auto *identity = static_cast<ESourceMailIdentity *>(
            e_source_get_extension(static_cast<ESource *>(item->data), E_SOURCE_EXTENSION_MAIL_IDENTITY));
        const QString address = QString::fromUtf8(e_source_mail_identity_get_address(identity)).trimmed();
        if (!address.isEmpty()) {
            addresses << address.toLower();
        }
    }
    return addresses;
}

// The calendar's own address as its backend or its account names it; else every address of the user's mail
// accounts, since an invitation in a local calendar came to one of them.
QStringList userAddresses(ECalClient *client, ESource *source, const QStringList &identities)
{
    gchar *backendAddress = nullptr;
    e_client_get_backend_property_sync(reinterpret_cast<EClient *>(client), E_CAL_BACKEND_PROPERTY_CAL_EMAIL_ADDRESS,
                                       &backendAddress, nullptr, nullptr);
    const OwnedText fromBackend(backendAddress);
    if (fromBackend && *fromBackend) {
        return {QString::fromUtf8(fromBackend.get()).trimmed().toLower()};
    }
    if (e_source_has_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND)) {
        const OwnedText fromAccount(e_source_webdav_dup_email_address(
            static_cast<ESourceWebdav *>(e_source_get_extension(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND))));
        if (fromAccount && *fromAccount) {
            return {QString::fromUtf8(fromAccount.get()).trimmed().toLower()};
        }
    }
    return identities;
}

QByteArray timeRangeQuery(const QDateTime &from, const QDateTime &to)
{
    const auto time = [](const QDateTime &instant) {
        return instant.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
    };
    return "(occur-in-time-range? (make-time \"" + time(from) + "\") (make-time \"" + time(to) + "\"))";
}

// A cancellable that cancels itself when its time is up; every live one is listed, so stopping can cancel them all.
class Deadline
{
public:
    Deadline(GMainContext *context, std::chrono::milliseconds timeout, std::set<Deadline *> &live)
        : m_live(live)
        , m_cancellable(g_cancellable_new())
        , m_timer(g_timeout_source_new(static_cast<guint>(timeout.count())))
    {
        g_source_set_callback(m_timer, &Deadline::expire, this, nullptr);
        g_source_attach(m_timer, context);
        m_live.insert(this);
    }
    ~Deadline()
    {
        m_live.erase(this);
        g_source_destroy(m_timer);
        g_source_unref(m_timer);
        g_object_unref(m_cancellable);
    }
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;

    [[nodiscard]] GCancellable *cancellable() const { return m_cancellable; }
    [[nodiscard]] bool expired() const { return m_expired; }
    void cancel() { g_cancellable_cancel(m_cancellable); }

private:
    static gboolean expire(gpointer data)
    {
        auto *self = static_cast<Deadline *>(data);
        self->m_expired = true;
        self->cancel();
        return G_SOURCE_REMOVE;
    }

    std::set<Deadline *> &m_live;
    GCancellable *m_cancellable;
    GSource *m_timer;
    bool m_expired = false;
};

} // namespace

// Runs every EDS call asynchronously on one thread with its own GLib main context, so a calendar that does not
// answer holds up neither the others nor the GUI, and change notices arrive between fetches.
class EdsCalendarProvider::Worker : public std::enable_shared_from_this<Worker>
{
public:
    explicit Worker(std::chrono::milliseconds readTimeout)
        : m_readTimeout(readTimeout), m_context(g_main_context_new()), m_loop(g_main_loop_new(m_context, FALSE))
    { }
    ~Worker()
    {
        g_main_loop_unref(m_loop);
        g_main_context_unref(m_context);
    }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    void start()
    {
        std::thread([self = shared_from_this()] { self->run(); }).detach();
    }

    // From the GUI thread: nothing is delivered to the receiver from now on, and the thread ends by itself once the
    // calls it cancels have come back.
    void stop()
    {
        {
            const std::lock_guard lock(m_noticeMutex);
            m_noticeReceiver = nullptr;
        }
        post([this] {
            m_stopping = true;
            for (Deadline *deadline : m_deadlines) {
                deadline->cancel();
            }
        });
    }

    void setChangeNotice(QObject *receiver, std::function<void()> notice)
    {
        const std::lock_guard lock(m_noticeMutex);
        m_noticeReceiver = receiver;
        m_notice = std::move(notice);
    }

    // Runs `work` on the worker; it answers through the reply it is handed, once.
    template<typename Result> QFuture<Result> ask(std::function<void(std::function<void(Result)>)> work)
    {
        auto promise = std::make_shared<QPromise<Result>>();
        promise->start();
        QFuture<Result> future = promise->future();
        post([work = std::move(work), promise] {
            work([promise](Result result) {
                // Settled on the GUI thread in one go: a result and a finish sent from here would wake it twice.
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [promise, result = std::move(result)]() mutable {
                        promise->addResult(std::move(result));
                        promise->finish();
                    },
                    Qt::QueuedConnection);
            });
        });
        return future;
    }

    // `then` gets the registry, or null and the reason it cannot be reached.
    void withRegistry(std::function<void(ESourceRegistry *, const QString &)> then)
    {
        if (m_registry) {
            then(m_registry.get(), {});
            return;
        }
        m_registryWaiters.push_back(std::move(then));
        if (m_registryWaiters.size() == 1) {
            m_registryDeadline = deadline();
            begin();
            e_source_registry_new(m_registryDeadline->cancellable(), &Worker::registryCreated, this);
        }
    }

    void fetch(FetchRequest request, std::function<void(FetchOutcome)> done);

    std::optional<QList<CalendarInfo>> calendars()
    {
        if (!m_registry) {
            return std::nullopt;
        }
        const SourceList list{e_source_registry_list_enabled(m_registry.get(), E_SOURCE_EXTENSION_CALENDAR)};
        QList<CalendarInfo> infos;
        for (GList *item = list.sources; item; item = item->next) {
            auto *source = static_cast<ESource *>(item->data);
            infos.append({uidOf(source), nameOf(source), sourceColor(source)});
        }
        return infos;
    }

private:
    class Read;
    struct Fetch;

    // The occurrences of one calendar over a window, and what they were made from.
    struct Expansion {
        QDateTime from;
        QDateTime to;
        EdsOccurrences::Calendar calendar;
        QByteArray localZone;
        // The calendar's change count when it was read.
        quint64 changes = 0;
        QList<CalendarEvent> events;
    };

    // One enabled calendar as the worker keeps it between fetches.
    struct Calendar {
        GObjectPtr<ECalClient> client;
        GObjectPtr<ECalClientView> view;
        bool viewRequested = false;
        // Zones already asked of this client's calendar, found or not.
        QSet<QString> askedZones;
        QList<CalendarEvent> lastGood;
        QDateTime lastGoodAt;
        // Counts the view's change notices; an expansion made at the same count is still the calendar's truth.
        quint64 changes = 0;
        // Only while the view watches the calendar.
        std::optional<Expansion> expansion;
        int readers = 0;
    };

    // Keeps the worker's call count up until the callback that ends a call has returned.
    class CallEnd
    {
    public:
        explicit CallEnd(Worker &worker) : m_worker(worker) { }
        ~CallEnd() { m_worker.end(); }
        CallEnd(const CallEnd &) = delete;
        CallEnd &operator=(const CallEnd &) = delete;

    private:
        Worker &m_worker;
    };

    struct ViewRequest {
        Worker *worker;
        QString uid;
        GObjectPtr<ECalClient> client;
        std::unique_ptr<Deadline> deadline;
        std::function<void()> done;
    };

    void run()
    {
        g_main_context_push_thread_default(m_context);
        g_main_loop_run(m_loop);
        for (auto &[uid, calendar] : m_calendars) {
            dropClient(calendar);
        }
        m_calendars.clear();
        if (m_registry) {
            g_signal_handlers_disconnect_by_data(m_registry.get(), this);
            m_registry.reset();
        }
        while (g_main_context_iteration(m_context, FALSE)) { }
        g_main_context_pop_thread_default(m_context);
    }

    void post(std::function<void()> job)
    {
        begin();
        GSource *idle = g_idle_source_new();
        g_source_set_callback(
            idle,
            [](gpointer data) -> gboolean {
                auto *self = static_cast<std::pair<Worker *, std::function<void()>> *>(data);
                const CallEnd end(*self->first);
                self->second();
                return G_SOURCE_REMOVE;
            },
            new std::pair<Worker *, std::function<void()>>(this, std::move(job)),
            [](gpointer data) { delete static_cast<std::pair<Worker *, std::function<void()>> *>(data); });
        g_source_attach(idle, m_context);
        g_source_unref(idle);
    }

    [[nodiscard]] std::unique_ptr<Deadline> deadline()
    {
        auto made = std::make_unique<Deadline>(m_context, m_readTimeout, m_deadlines);
        if (m_stopping) {
            made->cancel();
        }
        return made;
    }

    void begin() { ++m_calls; }
    void end()
    {
        if (--m_calls == 0 && m_stopping) {
            g_main_loop_quit(m_loop);
        }
    }

    // Coalesced: one notice waits on the GUI thread at a time.
    void notice()
    {
        const std::lock_guard lock(m_noticeMutex);
        if (m_noticeReceiver && !m_noticePending.exchange(true)) {
            QMetaObject::invokeMethod(
                m_noticeReceiver,
                [this] {
                    m_noticePending = false;
                    m_notice();
                },
                Qt::QueuedConnection);
        }
    }

    static void registryCreated(GObject *, GAsyncResult *result, gpointer data)
    {
        auto &self = *static_cast<Worker *>(data);
        const CallEnd end(self);
        ErrorSlot error;
        self.m_registry.reset(e_source_registry_new_finish(result, error));
        const QString failure = self.m_registryDeadline->expired() ? self.timeoutText() : error.message();
        self.m_registryDeadline.reset();
        if (self.m_registry) {
            for (const char *signal : {"source-added", "source-removed", "source-enabled", "source-disabled"}) {
                g_signal_connect_data(self.m_registry.get(), signal, reinterpret_cast<GCallback>(&calendarsChanged),
                                      &self, nullptr, GConnectFlags{});
            }
        }
        for (auto &waiter : std::exchange(self.m_registryWaiters, {})) {
            waiter(self.m_registry.get(), failure);
        }
    }

    static void calendarsChanged(ESourceRegistry *, ESource *source, gpointer data)
    {
        if (e_source_has_extension(source, E_SOURCE_EXTENSION_CALENDAR)) {
            static_cast<Worker *>(data)->notice();
        }
    }

    // The view went with the daemon, so the next fetch reads the calendar again, and its first call, failing,
    // connects anew. The client is kept until then: letting it go now would start another daemon in the meantime.
    static void backendDied(EClient *client, gpointer data)
    {
        auto &self = *static_cast<Worker *>(data);
        for (auto &[uid, calendar] : self.m_calendars) {
            if (calendar.client.get() == reinterpret_cast<ECalClient *>(client)) {
                ++calendar.changes;
                calendar.expansion.reset();
            }
        }
        self.notice();
    }

    static void calendarChanged(ECalClientView *view, gpointer, gpointer data)
    {
        auto &self = *static_cast<Worker *>(data);
        for (auto &[uid, calendar] : self.m_calendars) {
            if (calendar.view.get() == view) {
                ++calendar.changes;
            }
        }
        self.notice();
    }

    // A new connection will get its own view; the old one went with the old connection.
    void adopt(const QString &uid, ECalClient *client)
    {
        Calendar &calendar = m_calendars[uid];
        dropClient(calendar);
        calendar.client.reset(static_cast<ECalClient *>(g_object_ref(client)));
        g_signal_connect_data(client, "backend-died", reinterpret_cast<GCallback>(&backendDied), this, nullptr,
                              GConnectFlags{});
        calendar.askedZones.clear();
        calendar.viewRequested = false;
    }

    void forget(const QString &uid, ECalClient *client)
    {
        Calendar &calendar = m_calendars[uid];
        if (calendar.client.get() == client) {
            dropClient(calendar);
        }
    }

    void dropClient(Calendar &calendar)
    {
        dropView(calendar);
        if (calendar.client) {
            g_signal_handlers_disconnect_by_data(calendar.client.get(), this);
            calendar.client.reset();
        }
    }

    // Starts watching the calendar unless it is already watched; true when `done` will be called.
    bool watch(const QString &uid, Calendar &calendar, std::function<void()> done)
    {
        if (calendar.view || calendar.viewRequested || !calendar.client || m_stopping) {
            return false;
        }
        calendar.viewRequested = true;
        auto *request = new ViewRequest{
            this, uid, GObjectPtr<ECalClient>(static_cast<ECalClient *>(g_object_ref(calendar.client.get()))),
            deadline(), std::move(done)};
        begin();
        e_cal_client_get_view(calendar.client.get(), "#t", request->deadline->cancellable(), &Worker::viewCreated,
                              request);
        return true;
    }

    static void viewCreated(GObject *, GAsyncResult *result, gpointer data)
    {
        const std::unique_ptr<ViewRequest> request(static_cast<ViewRequest *>(data));
        Worker &self = *request->worker;
        const CallEnd end(self);
        ECalClientView *created = nullptr;
        ErrorSlot error;
        e_cal_client_get_view_finish(request->client.get(), result, &created, error);
        GObjectPtr<ECalClientView> view(created);
        const auto found = self.m_calendars.find(request->uid);
        if (found != self.m_calendars.end() && found->second.client == request->client) {
            found->second.viewRequested = false;
            if (view && !self.m_stopping) {
                self.startView(found->second, std::move(view));
            }
        }
        request->done();
    }

    // set_flags and start have no cancellable in libecal; they are called only when the backend has just answered.
    void startView(Calendar &calendar, GObjectPtr<ECalClientView> view)
    {
        for (const char *signal : {"objects-added", "objects-modified", "objects-removed"}) {
            g_signal_connect_data(view.get(), signal, reinterpret_cast<GCallback>(&calendarChanged), this, nullptr,
                                  GConnectFlags{});
        }
        ErrorSlot error;
        e_cal_client_view_set_flags(view.get(), E_CAL_CLIENT_VIEW_FLAGS_NONE, error);
        e_cal_client_view_start(view.get(), error);
        calendar.view = std::move(view);
    }

    // Unwatched, its last expansion may miss a change.
    void dropView(Calendar &calendar)
    {
        ++calendar.changes;
        calendar.expansion.reset();
        if (calendar.view) {
            g_signal_handlers_disconnect_by_data(calendar.view.get(), this);
            calendar.view.reset();
        }
    }

    void readFinished(Fetch &fetch);
    void complete(Fetch &fetch);

    [[nodiscard]] QString timeoutText() const
    {
        return u"no answer within " + QString::number(double(m_readTimeout.count()) / 1000.0) + u" s";
    }

    std::chrono::milliseconds m_readTimeout;
    GMainContext *m_context;
    GMainLoop *m_loop;
    std::atomic<int> m_calls = 0;
    bool m_stopping = false;

    std::mutex m_noticeMutex;
    QObject *m_noticeReceiver = nullptr;
    std::function<void()> m_notice;
    std::atomic<bool> m_noticePending = false;

    GObjectPtr<ESourceRegistry> m_registry;
    std::vector<std::function<void(ESourceRegistry *, const QString &)>> m_registryWaiters;
    std::unique_ptr<Deadline> m_registryDeadline;
    std::map<QString, Calendar> m_calendars;
    std::list<std::unique_ptr<Fetch>> m_fetches;
    std::set<Deadline *> m_deadlines;
    EdsZones m_zones;
};

struct EdsCalendarProvider::Worker::Fetch {
    FetchRequest request;
    std::function<void(FetchOutcome)> done;
    std::vector<std::unique_ptr<Read>> reads;
    size_t unfinished = 0;
};

// One calendar's part of a fetch: connect if needed, ask for what occurs in the window, fetch every series in it
// whole so its moved occurrences are found wherever they went, fetch the zones it names, expand.
class EdsCalendarProvider::Worker::Read
{
public:
    Read(Worker &worker, Fetch &fetch, ESource *source, QStringList identities)
        : m_worker(worker)
        , m_fetch(fetch)
        , m_source(static_cast<ESource *>(g_object_ref(source)))
        , m_uid(uidOf(source))
        , m_name(nameOf(source))
        , m_identities(std::move(identities))
        , m_calendar(worker.m_calendars[m_uid])
    {
        ++m_calendar.readers;
    }
    ~Read() { --m_calendar.readers; }
    Read(const Read &) = delete;
    Read &operator=(const Read &) = delete;

    void start()
    {
        m_deadline = m_worker.deadline();
        if (!m_calendar.client) {
            connect();
            return;
        }
        m_client.reset(static_cast<ECalClient *>(g_object_ref(m_calendar.client.get())));
        m_cachedClient = true;
        watchThenRead();
    }

    [[nodiscard]] const QList<CalendarEvent> &events() const { return m_events; }
    [[nodiscard]] const std::optional<QString> &diagnostic() const { return m_diagnostic; }

private:
    void connect()
    {
        called();
        e_cal_client_connect(m_source.get(), E_CAL_CLIENT_SOURCE_TYPE_EVENTS, static_cast<guint32>(-1),
                             m_deadline->cancellable(), &Read::connected, this);
    }

    static void connected(GObject *, GAsyncResult *result, gpointer data)
    {
        Read &self = *static_cast<Read *>(data);
        const CallEnd end(self.m_worker);
        ErrorSlot error;
        EClient *client = e_cal_client_connect_finish(result, error);
        --self.m_pending;
        if (!client) {
            self.fail(error.message());
            return;
        }
        self.m_client.reset(reinterpret_cast<ECalClient *>(client));
        self.m_worker.adopt(self.m_uid, self.m_client.get());
        self.watchThenRead();
    }

    // Watched before it is read, so a change made while it is read is noticed and its expansion stays true until the
    // next notice.
    void watchThenRead()
    {
        const bool watching = m_worker.watch(m_uid, m_calendar, [this] {
            --m_pending;
            read();
        });
        if (watching) {
            ++m_pending;
        } else {
            read();
        }
    }

    void read()
    {
        const Window &window = m_fetch.request.window;
        m_from = window.from.addSecs(-widestZoneOffsetSeconds);
        m_to = window.to.addSecs(widestZoneOffsetSeconds);
        m_made = {m_fetch.request.providerID, m_name, sourceColor(m_source.get()),
                  userAddresses(m_client.get(), m_source.get(), m_identities)};
        m_localZone = QTimeZone::systemTimeZoneId();
        if (reusable()) {
            m_events = m_calendar.expansion->events;
            m_calendar.lastGood = m_events;
            m_calendar.lastGoodAt = m_fetch.request.now;
            finish();
            return;
        }
        query();
    }

    // The calendar's last expansion, when no change was noticed since and it covers the window: the calendar is not
    // asked at all, since its view would have told of a change and its client of the daemon going away.
    [[nodiscard]] bool reusable() const
    {
        const std::optional<Expansion> &last = m_calendar.expansion;
        return m_calendar.view && last && last->changes == m_calendar.changes && last->from <= m_from
               && m_to <= last->to && last->calendar == m_made && last->localZone == m_localZone;
    }

    void query()
    {
        m_to = m_to.addSecs(expansionLeadSeconds);
        m_changes = m_calendar.view ? std::optional(m_calendar.changes) : std::nullopt;
        m_occurrences.emplace(m_worker.m_zones, m_client.get(), m_made);
        called();
        e_cal_client_get_object_list(m_client.get(), timeRangeQuery(m_from, m_to).constData(),
                                     m_deadline->cancellable(), &Read::queried, this);
    }

    // A cached client whose factory went away fails its first call; one fresh connection gets it back.
    bool reconnect()
    {
        if (!m_cachedClient || g_cancellable_is_cancelled(m_deadline->cancellable())) {
            return false;
        }
        m_cachedClient = false;
        m_worker.forget(m_uid, m_client.get());
        connect();
        return true;
    }

    static void queried(GObject *, GAsyncResult *result, gpointer data)
    {
        Read &self = *static_cast<Read *>(data);
        const CallEnd end(self.m_worker);
        GSList *components = nullptr;
        ErrorSlot error;
        const bool answered = e_cal_client_get_object_list_finish(self.m_client.get(), result, &components, error);
        --self.m_pending;
        if (!answered) {
            if (!self.reconnect()) {
                self.fail(error.message());
            }
            return;
        }
        QSet<QByteArray> series;
        for (GSList *item = components; item; item = item->next) {
            GObjectPtr<ICalComponent> component(static_cast<ICalComponent *>(item->data));
            if (e_cal_util_component_has_recurrences(component.get())
                || e_cal_util_component_is_instance(component.get())) {
                series.insert(i_cal_component_get_uid(component.get()));
            } else {
                self.m_occurrences->add(std::move(component));
            }
        }
        g_slist_free(components);
        for (const QByteArray &uid : std::as_const(series)) {
            self.called();
            e_cal_client_get_objects_for_uid(self.m_client.get(), uid.constData(), self.m_deadline->cancellable(),
                                             &Read::seriesFetched, &self);
        }
        self.settle();
    }

    static void seriesFetched(GObject *, GAsyncResult *result, gpointer data)
    {
        Read &self = *static_cast<Read *>(data);
        const CallEnd end(self.m_worker);
        GSList *components = nullptr;
        ErrorSlot error;
        const bool answered = e_cal_client_get_objects_for_uid_finish(self.m_client.get(), result, &components, error);
        --self.m_pending;
        if (!answered) {
            self.fail(error.message());
            return;
        }
        for (GSList *item = components; item; item = item->next) {
            ICalComponent *component = e_cal_component_get_icalcomponent(static_cast<ECalComponent *>(item->data));
            self.m_occurrences->add(GObjectPtr<ICalComponent>(static_cast<ICalComponent *>(g_object_ref(component))));
        }
        g_slist_free_full(components, g_object_unref);
        self.settle();
    }

    // Zones the calendar defines itself are fetched once per connection, so expanding never waits on the backend.
    void fetchZones()
    {
        m_zonesFetched = true;
        for (const QString &tzid : m_occurrences->zoneIDs()) {
            if (m_calendar.askedZones.contains(tzid) || EdsZones::knownToClient(m_client.get(), tzid)) {
                continue;
            }
            m_calendar.askedZones.insert(tzid);
            called();
            e_cal_client_get_timezone(m_client.get(), tzid.toUtf8().constData(), m_deadline->cancellable(),
                                      &Read::zoneFetched, this);
        }
    }

    static void zoneFetched(GObject *, GAsyncResult *result, gpointer data)
    {
        Read &self = *static_cast<Read *>(data);
        const CallEnd end(self.m_worker);
        ICalTimezone *zone = nullptr;
        ErrorSlot error;
        e_cal_client_get_timezone_finish(self.m_client.get(), result, &zone, error);
        --self.m_pending;
        if (error.matches(G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
            self.fail(error.message());
            return;
        }
        self.settle();
    }

    // Moves on once every call of the current step has come back.
    void settle()
    {
        if (m_pending > 0) {
            return;
        }
        if (m_failure) {
            finish();
            return;
        }
        if (!m_zonesFetched) {
            fetchZones();
            if (m_pending > 0) {
                return;
            }
        }
        expand();
    }

    void expand()
    {
        ErrorSlot error;
        QList<CalendarEvent> events;
        if (!m_occurrences->expand(m_from, m_to, m_deadline->cancellable(), events, error)) {
            fail(error.message());
            return;
        }
        m_events = events;
        m_calendar.lastGood = events;
        m_calendar.lastGoodAt = m_fetch.request.now;
        if (m_changes) {
            m_calendar.expansion = Expansion{m_from, m_to, m_made, m_localZone, *m_changes, std::move(events)};
        }
        finish();
    }

    void fail(const QString &reason)
    {
        if (!m_failure) {
            m_failure = m_deadline->expired() ? m_worker.timeoutText() : reason;
            m_deadline->cancel();
        }
        if (m_pending == 0) {
            finish();
        }
    }

    void finish()
    {
        m_deadline.reset();
        if (m_failure) {
            m_diagnostic = u"Skipping calendar \"" + m_name + u"\": " + *m_failure;
            if (m_calendar.lastGoodAt.isValid()
                && m_calendar.lastGoodAt.secsTo(m_fetch.request.now) <= lastGoodLifetimeSeconds) {
                m_events = m_calendar.lastGood;
            }
        }
        m_worker.readFinished(m_fetch);
    }

    void called()
    {
        ++m_pending;
        m_worker.begin();
    }

    Worker &m_worker;
    Fetch &m_fetch;
    GObjectPtr<ESource> m_source;
    QString m_uid;
    QString m_name;
    QStringList m_identities;
    Calendar &m_calendar;
    GObjectPtr<ECalClient> m_client;
    bool m_cachedClient = false;
    std::unique_ptr<Deadline> m_deadline;
    int m_pending = 0;
    bool m_zonesFetched = false;
    QDateTime m_from;
    QDateTime m_to;
    EdsOccurrences::Calendar m_made;
    QByteArray m_localZone;
    // The calendar's change count when it was queried, if it was watched then.
    std::optional<quint64> m_changes;
    std::optional<EdsOccurrences> m_occurrences;
    std::optional<QString> m_failure;
    std::optional<QString> m_diagnostic;
    QList<CalendarEvent> m_events;
};

void EdsCalendarProvider::Worker::fetch(FetchRequest request, std::function<void(FetchOutcome)> done)
{
    withRegistry([this, request = std::move(request), done = std::move(done)](ESourceRegistry *registry,
                                                                              const QString &) mutable {
        if (!registry) {
            done(FetchOutcome{});
            return;
        }
        Fetch &fetch =
            *m_fetches.emplace_back(std::make_unique<Fetch>(Fetch{std::move(request), std::move(done), {}, 0}));
        const SourceList list{e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_CALENDAR)};
        const QStringList identities = identityAddresses(registry);
        QSet<QString> present;
        for (GList *item = list.sources; item; item = item->next) {
            auto *source = static_cast<ESource *>(item->data);
            present.insert(uidOf(source));
            if (selected(fetch.request.config, uidOf(source))) {
                fetch.reads.push_back(std::make_unique<Read>(*this, fetch, source, identities));
            }
        }
        for (auto calendar = m_calendars.begin(); calendar != m_calendars.end();) {
            if (present.contains(calendar->first) || calendar->second.readers > 0) {
                ++calendar;
                continue;
            }
            dropClient(calendar->second);
            calendar = m_calendars.erase(calendar);
        }
        fetch.unfinished = fetch.reads.size();
        if (fetch.reads.empty()) {
            post([this, &fetch] { complete(fetch); });
        }
        for (const std::unique_ptr<Read> &read : fetch.reads) {
            read->start();
        }
    });
}

// Completed from the loop, since the last read finishes inside one of its own callbacks.
void EdsCalendarProvider::Worker::readFinished(Fetch &fetch)
{
    if (--fetch.unfinished == 0) {
        post([this, &fetch] { complete(fetch); });
    }
}

void EdsCalendarProvider::Worker::complete(Fetch &fetch)
{
    FetchOutcome outcome{true, {}, {}};
    QSet<QString> listed;
    for (const std::unique_ptr<Read> &read : fetch.reads) {
        if (read->diagnostic()) {
            outcome.diagnostics.append(*read->diagnostic());
        }
        for (const CalendarEvent &event : read->events()) {
            if (wanted(event, fetch.request.window, fetch.request.config) && !listed.contains(event.id())) {
                listed.insert(event.id());
                outcome.events.append(event);
            }
        }
    }
    for (const QString &tzid : m_zones.takeNewlyUnknown()) {
        outcome.diagnostics.append(u"Unknown time zone \"" + tzid + u"\": its times are read as local time");
    }
    std::stable_sort(outcome.events.begin(), outcome.events.end(),
                     [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
    fetch.done(std::move(outcome));
    m_fetches.remove_if([&](const std::unique_ptr<Fetch> &entry) { return entry.get() == &fetch; });
}

EdsCalendarProvider::EdsCalendarProvider(Clock &clock, CalendarProviderConfig config,
                                         std::chrono::milliseconds readTimeout)
    : CalendarProvider(clock, std::move(config)), m_worker(std::make_shared<Worker>(readTimeout))
{
    m_worker->setChangeNotice(this, [this] {
        notifyChanged();
        Q_EMIT storeChanged();
    });
    m_worker->start();
}

EdsCalendarProvider::~EdsCalendarProvider()
{
    m_worker->stop();
}

// GCC 12 destroys temporaries of a co_await expression twice, so each future is made in a statement of its own.
QCoro::Task<bool> EdsCalendarProvider::isAuthorized()
{
    Worker &worker = *m_worker;
    const QFuture<bool> reachable = worker.ask<bool>([&worker](std::function<void(bool)> reply) {
        worker.withRegistry([reply](ESourceRegistry *registry, const QString &) { reply(registry != nullptr); });
    });
    co_return co_await reachable;
}

QCoro::Task<bool> EdsCalendarProvider::requestAccess()
{
    Worker &worker = *m_worker;
    const QFuture<std::optional<QString>> request =
        worker.ask<std::optional<QString>>([&worker](std::function<void(std::optional<QString>)> reply) {
            worker.withRegistry([reply](ESourceRegistry *registry, const QString &failure) {
                reply(registry ? std::nullopt : std::optional(failure));
            });
        });
    const std::optional<QString> failure = co_await request;
    if (failure) {
        diagnostic(u"EventKit access request failed: " + *failure);
    }
    co_return !failure;
}

QCoro::Task<QList<CalendarEvent>> EdsCalendarProvider::fetchEvents(QDateTime from, QDateTime to)
{
    Worker &worker = *m_worker;
    FetchRequest request{config(), {from.toUTC(), to.toUTC()}, clock().now(), providerID()};
    const QFuture<FetchOutcome> fetch = worker.ask<FetchOutcome>(
        [&worker, request = std::move(request)](std::function<void(FetchOutcome)> reply) mutable {
            worker.fetch(std::move(request), std::move(reply));
        });
    const FetchOutcome outcome = co_await fetch;
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
    Worker &worker = *m_worker;
    const QFuture<std::optional<QList<CalendarInfo>>> listing = worker.ask<std::optional<QList<CalendarInfo>>>(
        [&worker](std::function<void(std::optional<QList<CalendarInfo>>)> reply) {
            worker.withRegistry([&worker, reply](ESourceRegistry *, const QString &) { reply(worker.calendars()); });
        });
    const std::optional<QList<CalendarInfo>> calendars = co_await listing;
    if (!calendars) {
        throw CalendarProviderError::notAuthorized();
    }
    co_return *calendars;
}

} // namespace bellwick
