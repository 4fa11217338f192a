// Throughput of meeting-link search over large HTML invitation bodies, in MB/s of UTF-8 input.
#include "calendar/meetinglinks.h"

#include <benchmark/benchmark.h>

using namespace bellwick;

namespace {

// About 200 KB of HTML with ordinary links, as mail clients produce for long invitations.
QString htmlBody(bool withMeetingLink)
{
    QString body = QStringLiteral("<html><head><style>p{margin:0}</style></head><body>");
    int paragraph = 0;
    while (body.size() < 200'000) {
        body += QStringLiteral("<p class=\"x_MsoNormal\">Item %1: see <a href=\"https://intranet.example.com/docs/%1"
                               "?view=full\">the document</a> and reply to <a href=\"mailto:team@example.com\">the "
                               "team</a> before Friday.&nbsp;</p>\n")
                    .arg(++paragraph);
    }
    if (withMeetingLink) {
        body += QStringLiteral("<p><a href=\"https://acme.zoom.us/j/85512345678?pwd=QmVsbHdpY2s\">Join Zoom Meeting</a>"
                               "</p>");
    }
    return body + QStringLiteral("<p>Thanks!</p></body></html>");
}

void extract(benchmark::State &state, bool withMeetingLink)
{
    const QString body = htmlBody(withMeetingLink);
    const std::optional<QString> notes = body;
    const std::optional<QString> location = QStringLiteral("Room 4.12");
    for (auto _ : state) {
        benchmark::DoNotOptimize(extractMeetingURL(notes, location));
    }
    state.SetBytesProcessed(state.iterations() * body.toUtf8().size());
    state.counters["body_kB"] = static_cast<double>(body.toUtf8().size()) / 1000.0;
}

} // namespace

BENCHMARK_CAPTURE(extract, link_near_end, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(extract, no_link, false)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
