// Times the Outlook source: decoding and converting a 1,000-event Graph reply, and a whole fetch of three pages
// from a local server on 127.0.0.1.
//     build/release/bench/bench_outlook
#include "calendar/outlook/graphevent.h"
#include "calendar/outlook/outlookcalendarprovider.h"
#include "platform/manualclock.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QEventLoop>
#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

using namespace bellwick;

namespace {

const QDateTime start = QDateTime::fromString(QStringLiteral("2025-03-04T08:00:00Z"), Qt::ISODate);

// Events as Graph writes them when asked for UTC: seven-digit fractions, HTML bodies, every other one on Teams.
QByteArray graphPage(int first, int count, const QString &nextLink = {})
{
    QJsonArray events;
    for (int index = first; index < first + count; ++index) {
        const QDateTime begin = start.addSecs(index * 600);
        const auto time = [](const QDateTime &instant) {
            return QJsonObject{
                {QStringLiteral("dateTime"), instant.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.0000000"))},
                {QStringLiteral("timeZone"), QStringLiteral("UTC")}};
        };
        QJsonObject event{
            {QStringLiteral("id"), QStringLiteral("AAMkAGI2THVSAAA%1").arg(index)},
            {QStringLiteral("subject"), QStringLiteral("Meeting %1").arg(index)},
            {QStringLiteral("body"), QJsonObject{{QStringLiteral("contentType"), QStringLiteral("html")},
                                                 {QStringLiteral("content"),
                                                  QStringLiteral("<html><body><p>Agenda for meeting %1.</p><p>Dial in: "
                                                                 "https://contoso.zoom.us/j/55512%1</p></body></html>")
                                                      .arg(index)}}},
            {QStringLiteral("start"), time(begin)},
            {QStringLiteral("end"), time(begin.addSecs(1800))},
            {QStringLiteral("location"), QJsonObject{{QStringLiteral("displayName"), QStringLiteral("Room 4.12")}}},
            {QStringLiteral("isAllDay"), false},
            {QStringLiteral("webLink"), QStringLiteral("https://outlook.office365.com/owa/?itemid=%1").arg(index)},
        };
        if (index % 2 == 0) {
            event.insert(
                QStringLiteral("onlineMeeting"),
                QJsonObject{{QStringLiteral("joinUrl"),
                             QStringLiteral("https://teams.microsoft.com/l/meetup-join/19%3ameeting_%1").arg(index)}});
        }
        events.append(event);
    }
    QJsonObject page{{QStringLiteral("value"), events}};
    if (!nextLink.isEmpty()) {
        page.insert(QStringLiteral("@odata.nextLink"), nextLink);
    }
    return QJsonDocument(page).toJson(QJsonDocument::Compact);
}

void decodeAndConvert(benchmark::State &state)
{
    const QByteArray reply = graphPage(0, 1000);
    const QString providerID = QStringLiteral("outlook");
    for (auto _ : state) {
        const GraphCalendarResponse response = decodeGraphCalendarResponse(reply);
        QList<CalendarEvent> events;
        for (const GraphEvent &event : response.value) {
            if (std::optional<CalendarEvent> converted = convertGraphEvent(event, providerID)) {
                events.append(std::move(*converted));
            }
        }
        benchmark::DoNotOptimize(events);
    }
    state.counters["bytes"] = double(reply.size());
}
BENCHMARK(decodeAndConvert)->Unit(benchmark::kMillisecond);

void fetchThreePages(benchmark::State &state)
{
    QHttpServer server;
    const quint16 port = server.listen(QHostAddress::LocalHost);
    const QString root = QStringLiteral("http://127.0.0.1:%1/v1.0").arg(port);
    const QByteArray pages[] = {
        graphPage(0, 50, root + QStringLiteral("/me/calendarView?$skiptoken=1")),
        graphPage(50, 50, root + QStringLiteral("/me/calendarView?$skiptoken=2")),
        graphPage(100, 50),
    };
    server.setMissingHandler([&pages](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        const int page = request.query().queryItemValue(QStringLiteral("$skiptoken")).toInt();
        responder.write(pages[page], "application/json");
    });
    ManualClock clock(start);
    OutlookCalendarProvider provider(clock, QUrl(root));
    provider.setAccessToken(QStringLiteral("bench-token"));

    qsizetype fetched = 0;
    for (auto _ : state) {
        QEventLoop loop;
        QCoro::connect(provider.fetchEvents(start, start.addDays(1)), &loop, [&](const QList<CalendarEvent> &events) {
            fetched = events.size();
            loop.quit();
        });
        loop.exec();
    }
    state.counters["events"] = double(fetched);
}
BENCHMARK(fetchThreePages)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
