// Throughput of meeting-link search over large HTML invitation bodies, in MB/s of UTF-8 input.
#include "calendar/meetinglinks.h"

#include <benchmark/benchmark.h>

using namespace bellwick;

namespace {

// HTML of about `size` bytes with ordinary links, as mail clients produce for long invitations, and the meeting's
// link paragraph, if any, at its end.
QString htmlBody(const QString &meetingLink, qsizetype size)
{
    QString body = QStringLiteral("<html><head><style>p{margin:0}</style></head><body>");
    int paragraph = 0;
    while (body.size() < size) {
        body += QStringLiteral("<p class=\"x_MsoNormal\">Item %1: see <a href=\"https://intranet.example.com/docs/%1"
                               "?view=full\">the document</a> and reply to <a href=\"mailto:team@example.com\">the "
                               "team</a> before Friday.&nbsp;</p>\n")
                    .arg(++paragraph);
    }
    return body + meetingLink + QStringLiteral("<p>Thanks!</p></body></html>");
}

void extract(benchmark::State &state, const char *meetingLink, qsizetype size = 200'000)
{
    const QString body = htmlBody(QString::fromLatin1(meetingLink), size);
    const std::optional<QString> notes = body;
    const std::optional<QString> location = QStringLiteral("Room 4.12");
    for (auto _ : state) {
        benchmark::DoNotOptimize(extractMeetingURL(notes, location));
    }
    state.SetBytesProcessed(state.iterations() * body.toUtf8().size());
    state.counters["body_kB"] = static_cast<double>(body.toUtf8().size()) / 1000.0;
}

} // namespace

BENCHMARK_CAPTURE(extract, link_near_end,
                  "<p><a href=\"https://acme.zoom.us/j/85512345678?pwd=QmVsbHdpY2s\">Join Zoom Meeting</a></p>")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(extract, wrapped_link_near_end,
                  "<p><a href=\"https://nam12.safelinks.protection.outlook.com/?url=https%3A%2F%2Fteams.microsoft.com"
                  "%2Fl%2Fmeetup-join%2F19%253ameeting%2540thread.v2%2F0&amp;data=05%7C02\">Join</a></p>")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(extract, other_service_near_end, "<p><a href=\"https://meet.jit.si/AcmeStandup\">Join</a></p>")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(extract, no_link, "")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(extract, no_link_1MB, "", 1'000'000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
