// Times the system-calendar source on one local calendar of 5,000 events, 200 of them weekly series, spread over two
// years around now. Seeds the calendar store, so run it in an isolated session:
//     scripts/session -- build/release/bench/bench_edscalendarprovider
#include "calendar/eds/edscalendarprovider.h"
#include "platform/systemclock.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimeZone>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <cstdio>

using namespace bellwick;

namespace {

constexpr int eventCount = 5000;
constexpr int seriesCount = 200;
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

gboolean countInstance(ICalComponent *, ICalTime *, ICalTime *, gpointer data, GCancellable *, GError **)
{
    ++*static_cast<int *>(data);
    return TRUE;
}

// The same steps the source takes, without it, so the fetch's time can be split up.
double timeSteps(const QDateTime &now)
{
    QElapsedTimer timer;
    timer.start();
    ESourceRegistry *registry = e_source_registry_new_sync(nullptr, nullptr);
    const double registryTime = milliseconds(timer);
    ESource *source = e_source_registry_ref_source(registry, calendarID.toUtf8().constData());
    timer.restart();
    EClient *connected =
        e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, static_cast<guint32>(-1), nullptr, nullptr);
    const double connectTime = milliseconds(timer);
    auto *client = reinterpret_cast<ECalClient *>(connected);
    QList<double> probeTimes;
    QList<double> generateTimes;
    int instances = 0;
    for (int run = 0; run < 5; ++run) {
        GSList *probed = nullptr;
        timer.restart();
        e_cal_client_get_object_list_sync(
            client, R"((occur-in-time-range? (make-time "19700101T000000Z") (make-time "19700101T000001Z")))", &probed,
            nullptr, nullptr);
        probeTimes << milliseconds(timer);
        g_slist_free_full(probed, g_object_unref);
        instances = 0;
        timer.restart();
        e_cal_client_generate_instances_sync(client, now.addDays(-1).toSecsSinceEpoch(),
                                             upcomingWindowEnd(now).addDays(1).toSecsSinceEpoch(), nullptr,
                                             countInstance, &instances);
        generateTimes << milliseconds(timer);
    }
    std::printf("  source registry (shared once made)      %8.1f ms\n", registryTime);
    std::printf("  connect one calendar client             %8.1f ms\n", connectTime);
    std::printf("  empty probe query, median of 5          %8.1f ms\n", median(probeTimes));
    std::printf("  generate_instances_sync, median of 5    %8.1f ms  (%d instances in the widened window)\n",
                median(generateTimes), instances);
    g_object_unref(client);
    g_object_unref(source);
    g_object_unref(registry);
    return median(probeTimes) + median(generateTimes);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION")) {
        std::fputs("bench_edscalendarprovider seeds the calendar store; run it under scripts/session --\n", stderr);
        return 2;
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
    QList<double> warm;
    for (int run = 0; run < 5; ++run) {
        timer.restart();
        wait(provider.fetchUpcomingEvents());
        warm << milliseconds(timer);
    }

    std::printf("%d events, %d of them weekly series, over two years; the next 24 hours hold %lld\n", eventCount,
                seriesCount, static_cast<long long>(coldCount));
    std::printf("fetchUpcomingEvents cold (daemons start, connections open) %8.1f ms\n", cold);
    std::printf("fetchUpcomingEvents warm, median of 5                    %8.1f ms\n", median(warm));
    std::puts("where a fetch's time goes:");
    const double eds = timeSteps(now);
    std::printf("  the rest (a difference, so noisy)       %8.1f ms\n", median(warm) - eds);
    return 0;
}
