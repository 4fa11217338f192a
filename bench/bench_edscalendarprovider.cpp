// Times the system-calendar source on one local calendar of 5,000 events (or --events N), 16 % of them weekly series,
// spread over two years around now, with the calendar daemon's processor time per poll; then, at the default size,
// where a fetch's time goes and how long an edit made through EDS takes to reach the source's change handler and the
// event monitor's list. Seeds the calendar store, so run it in an isolated session (bench/run-all does):
//     scripts/session -- build/release/bench/bench_edscalendarprovider [--events N]
#include "calendar/eds/edscalendarprovider.h"
#include "calendar/eds/glibhandles.h"
#include "monitoring/eventmonitor.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/systemclock.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"
#include "processfigures.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

using namespace bellwick;
using namespace Qt::StringLiterals;

namespace {

constexpr int defaultEventCount = 5000;
int eventCount = defaultEventCount;
int seriesCount = eventCount * 4 / 25;
const QString calendarID = QStringLiteral("bench");

QByteArray icsTime(const QDateTime &instant)
{
    return instant.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
}

QByteArray berlinTime(const QDateTime &instant)
{
    return instant.toTimeZone(QTimeZone("Europe/Berlin")).toString(QStringLiteral("yyyyMMdd'T'HHmmss")).toLatin1();
}

void seed(const QDateTime &now)
{
    const QString sources = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/evolution/sources";
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + u"/evolution/calendar/" + calendarID;
    QDir().mkpath(sources);
    QDir().mkpath(folder);
    QFile source(sources + u'/' + calendarID + u".source");
    source.open(QIODevice::WriteOnly);
    source.write("[Data Source]\nDisplayName=Bench\nEnabled=true\nParent=local-stub\n\n"
                 "[Calendar]\nBackendName=local\nColor=#3465a4\nSelected=true\n");

    QByteArray ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Bellwick//Bench//EN\r\n"
                     "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"
                     "BEGIN:DAYLIGHT\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nDTSTART:19700329T020000\r\n"
                     "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
                     "BEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\nDTSTART:19701025T030000\r\n"
                     "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    const QDateTime first = now.addDays(-365);
    const qint64 span = first.secsTo(now.addDays(365));
    for (int index = 0; index < eventCount; ++index) {
        const bool series = index < seriesCount;
        const QDateTime start = first.addSecs(span * index / (series ? seriesCount : eventCount));
        ics += "BEGIN:VEVENT\r\nUID:bench-" + QByteArray::number(index) + "\r\nDTSTAMP:20260101T000000Z\r\n";
        if (series) {
            ics += "DTSTART;TZID=Europe/Berlin:" + berlinTime(start)
                   + "\r\nDTEND;TZID=Europe/Berlin:" + berlinTime(start.addSecs(1800)) + "\r\nRRULE:FREQ=WEEKLY\r\n";
        } else {
            ics += "DTSTART:" + icsTime(start) + "\r\nDTEND:" + icsTime(start.addSecs(3600)) + "\r\n";
        }
        ics += "SUMMARY:Meeting " + QByteArray::number(index)
               + "\r\nLOCATION:https://us02web.zoom.us/j/81234567890\r\nEND:VEVENT\r\n";
    }
    ics += "END:VCALENDAR\r\n";
    QFile calendar(folder + u"/calendar.ics");
    calendar.open(QIODevice::WriteOnly);
    calendar.write(ics);
}

template<typename T> T wait(QCoro::Task<T> task)
{
    QEventLoop loop;
    std::optional<T> result;
    auto run = [&]() -> QCoro::Task<> {
        result = co_await task;
        loop.quit();
    };
    const QCoro::Task<> running = run();
    if (!result) {
        loop.exec();
    }
    return std::move(*result);
}

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// The calls a fetch makes, one after another, so its time can be split up; the source makes the series calls at once.
void timeSteps(const QDateTime &now)
{
    QElapsedTimer timer;
    timer.start();
    const GObjectPtr<ESourceRegistry> registry(e_source_registry_new_sync(nullptr, nullptr));
    const double registryTime = milliseconds(timer);
    const GObjectPtr<ESource> source(e_source_registry_ref_source(registry.get(), calendarID.toUtf8().constData()));
    timer.restart();
    const GObjectPtr<ECalClient> client(reinterpret_cast<ECalClient *>(e_cal_client_connect_sync(
        source.get(), E_CAL_CLIENT_SOURCE_TYPE_EVENTS, static_cast<guint32>(-1), nullptr, nullptr)));
    const double connectTime = milliseconds(timer);
    const QByteArray query =
        "(occur-in-time-range? (make-time \""
        + now.addDays(-1).toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1() + "\") (make-time \""
        + upcomingWindowEnd(now).addDays(1).toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1() + "\"))";
    QList<double> queryTimes;
    QList<double> seriesTimes;
    QList<QByteArray> series;
    for (int run = 0; run < 5; ++run) {
        GSList *components = nullptr;
        timer.restart();
        e_cal_client_get_object_list_sync(client.get(), query.constData(), &components, nullptr, nullptr);
        queryTimes << milliseconds(timer);
        series.clear();
        for (GSList *item = components; item; item = item->next) {
            auto *component = static_cast<ICalComponent *>(item->data);
            if (e_cal_util_component_has_recurrences(component)) {
                series << i_cal_component_get_uid(component);
            }
        }
        g_slist_free_full(components, g_object_unref);
        timer.restart();
        for (const QByteArray &uid : std::as_const(series)) {
            GSList *whole = nullptr;
            e_cal_client_get_objects_for_uid_sync(client.get(), uid.constData(), &whole, nullptr, nullptr);
            g_slist_free_full(whole, g_object_unref);
        }
        seriesTimes << milliseconds(timer);
    }
    std::printf("  source registry (shared once made)      %8.1f ms\n", registryTime);
    std::printf("  connect one calendar client             %8.1f ms\n", connectTime);
    std::printf("  time-range query, median of 5           %8.1f ms\n", median(queryTimes));
    std::printf("  %3lld whole series, one by one, median   %8.1f ms\n", static_cast<long long>(series.size()),
                median(seriesTimes));
}

// An edit made through EDS: a meeting half an hour from now, which is removed again.
class Edit
{
public:
    Edit(ECalClient *client, const QDateTime &now, int run)
        : m_client(client), m_uid("bench-edit-" + QByteArray::number(run))
    {
        const QByteArray start = now.addSecs(1800).toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
        const QByteArray text = "BEGIN:VEVENT\nUID:" + m_uid + "\nDTSTAMP:20260101T000000Z\nDTSTART:" + start
                                + "\nDURATION:PT30M\nSUMMARY:Edited\nEND:VEVENT\n";
        const GObjectPtr<ICalComponent> meeting(i_cal_component_new_from_string(text.constData()));
        e_cal_client_create_object_sync(m_client, meeting.get(), E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr, nullptr);
    }
    ~Edit()
    {
        e_cal_client_remove_object_sync(m_client, m_uid.constData(), nullptr, E_CAL_OBJ_MOD_ALL,
                                        E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr);
    }
    Edit(const Edit &) = delete;
    Edit &operator=(const Edit &) = delete;

    [[nodiscard]] QString eventID() const { return u"eventkit_"_s + QString::fromLatin1(m_uid); }

private:
    ECalClient *m_client;
    QByteArray m_uid;
};

// Runs the event loop until `done` holds or five seconds pass; the time taken, or nothing.
std::optional<double> timeUntil(QEventLoop &loop, const std::function<bool()> &done, const QElapsedTimer &since)
{
    bool late = false;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, &loop, [&] {
        late = true;
        loop.quit();
    });
    timeout.start(5000);
    while (!done() && !late) {
        loop.exec();
    }
    return done() ? std::optional(milliseconds(since)) : std::nullopt;
}

QString figure(const QList<double> &times, int runs)
{
    return times.size() == runs ? QString::asprintf("%8.1f ms", median(times))
                                : QStringLiteral("%1 of %2 within 5 s").arg(times.size()).arg(runs);
}

void timeEdits(SystemClock &clock, const CalendarProviderConfig &config)
{
    constexpr int runs = 5;
    const GObjectPtr<ESourceRegistry> registry(e_source_registry_new_sync(nullptr, nullptr));
    const GObjectPtr<ESource> source(e_source_registry_ref_source(registry.get(), calendarID.toUtf8().constData()));
    const GObjectPtr<ECalClient> client(reinterpret_cast<ECalClient *>(e_cal_client_connect_sync(
        source.get(), E_CAL_CLIENT_SOURCE_TYPE_EVENTS, static_cast<guint32>(-1), nullptr, nullptr)));

    QList<double> notices;
    {
        EdsCalendarProvider provider(clock, config);
        wait(provider.fetchUpcomingEvents());
        QEventLoop loop;
        bool noticed = false;
        provider.setChangeHandler([&] {
            noticed = true;
            loop.quit();
        });
        for (int run = 0; run < runs; ++run) {
            noticed = false;
            QElapsedTimer since;
            since.start();
            const Edit edit(client.get(), clock.now(), run);
            if (const std::optional<double> time = timeUntil(
                    loop, [&] { return noticed; }, since)) {
                notices << *time;
            }
        }
    }

    QTemporaryDir folder;
    UserDefaults defaults(folder.filePath(QStringLiteral("settings.json")));
    AutostartLoginItem login(folder.filePath(QStringLiteral("bellwick")));
    DockPresence dock;
    PreferencesManager preferences(defaults, login, dock);
    preferences.setPollingIntervalSeconds(300);
    EdsCalendarProvider provider(clock, config);
    EventMonitor monitor(clock, preferences);
    QEventLoop loop;
    const QMetaObject::Connection listed =
        QObject::connect(&monitor, &EventMonitor::upcomingEventsChanged, &loop, &QEventLoop::quit);
    monitor.startMonitoring({&provider});
    QElapsedTimer first;
    first.start();
    timeUntil(
        loop, [&] { return monitor.lastFetchTime().isValid(); }, first);
    QList<double> lists;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer since;
        since.start();
        const Edit edit(client.get(), clock.now(), runs + run);
        const auto holdsEdit = [&] {
            return std::any_of(monitor.upcomingEvents().begin(), monitor.upcomingEvents().end(),
                               [&](const CalendarEvent &event) { return event.id() == edit.eventID(); });
        };
        if (const std::optional<double> time = timeUntil(loop, holdsEdit, since)) {
            lists << *time;
        }
    }
    QObject::disconnect(listed);

    std::printf("an edit made through EDS (a new meeting), median of %d:\n", runs);
    std::printf("  to the source's change handler          %s\n", qPrintable(figure(notices, runs)));
    std::printf("  to the event monitor's new list         %s  (polling every 300 s)\n",
                qPrintable(figure(lists, runs)));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION")) {
        std::fputs("bench_edscalendarprovider seeds the calendar store; run it under scripts/session --\n", stderr);
        return 2;
    }
    const QStringList arguments = QCoreApplication::arguments();
    if (const qsizetype option = arguments.indexOf(QStringLiteral("--events")); option >= 0) {
        eventCount = std::max(1, arguments.value(option + 1).toInt());
        seriesCount = eventCount * 4 / 25;
    }
    SystemClock clock;
    const QDateTime now = clock.now();
    seed(now);

    CalendarProviderConfig config;
    config.includedCalendarIDs = QSet{calendarID};
    EdsCalendarProvider provider(clock, config);

    QElapsedTimer timer;
    timer.start();
    const qsizetype coldCount = wait(provider.fetchUpcomingEvents()).size();
    const double cold = milliseconds(timer);
    // The calendar factory and the subprocess that holds the calendar.
    const QList<qint64> daemon = bench::sessionProcesses("evolution-calen");
    constexpr int warmRuns = 20;
    QList<double> warm;
    const double daemonBefore = bench::cpuSeconds(daemon);
    for (int run = 0; run < warmRuns; ++run) {
        timer.restart();
        wait(provider.fetchUpcomingEvents());
        warm << milliseconds(timer);
    }
    const double daemonPerPoll = 1000 * (bench::cpuSeconds(daemon) - daemonBefore) / warmRuns;

    std::printf("%d events, %d of them weekly series, over two years; the next 24 hours hold %lld\n", eventCount,
                seriesCount, static_cast<long long>(coldCount));
    std::printf("fetchUpcomingEvents cold (daemons start, connections open) %8.1f ms\n", cold);
    std::printf("fetchUpcomingEvents warm, median of %d                    %8.1f ms\n", warmRuns, median(warm));
    std::printf("calendar daemon's processor time per warm poll            %8.1f ms\n", daemonPerPoll);
    if (eventCount == defaultEventCount) {
        std::puts("the calls a fetch makes:");
        timeSteps(now);
        timeEdits(clock, config);
    }
    return 0;
}
