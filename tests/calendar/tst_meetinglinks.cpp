#include "calendar/calendarevent.h"
#include "calendar/meetinglinks.h"

#include <QRandomGenerator>
#include <QTest>

using namespace bellwick;
using namespace Qt::StringLiterals;

using OptionalText = std::optional<QString>;
using OptionalURL = std::optional<QUrl>;
Q_DECLARE_METATYPE(OptionalText)
Q_DECLARE_METATYPE(OptionalURL)

namespace {

const OptionalText none = std::nullopt;

OptionalText text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QString found(const OptionalText &notes, const OptionalText &location)
{
    const std::optional<QUrl> url = extractMeetingURL(notes, location);
    return url ? url->toString() : QString();
}

// A row for a link searched in the notes alone; without a link, none is found.
void inNotes(const char *name, const char *notes, const QString &url = {}, const QString &type = {})
{
    QTest::newRow(name) << text(notes) << none << url << type;
}

QString typeText(const std::optional<MeetingType> &type)
{
    return type ? rawValue(*type) : QString();
}

} // namespace

class MeetingLinksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Lower-casing must not follow the locale: a Turkish capital I would otherwise become a dotless i.
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::Turkish, QLocale::Turkey)); }

    void extractsTheRightLink_data()
    {
        QTest::addColumn<OptionalText>("notes");
        QTest::addColumn<OptionalText>("location");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("type");

        QTest::newRow("nothing to search") << none << none << QString() << QString();
        QTest::newRow("plain words") << text("Quarterly planning, bring numbers") << text("Room 4.12") << QString()
                                     << QString();
        const QString zoom = u"Zoom"_s, teams = u"Microsoft Teams"_s, meeting = u"Meeting"_s;
        inNotes("zoom invitation",
                "Hi all,\n\nJoin Zoom Meeting\nhttps://us02web.zoom.us/j/85512345678?pwd=aBcD1234\n\nMeeting ID: 855 "
                "1234 5678",
                u"https://us02web.zoom.us/j/85512345678?pwd=aBcD1234"_s, zoom);
        inNotes("zoom company subdomain", "Dial in: https://acme-corp.eu.zoom.us/my/standup",
                u"https://acme-corp.eu.zoom.us/my/standup"_s, zoom);
        QTest::newRow("teams in html body")
            << text("<div><a href=\"https://teams.microsoft.com/l/meetup-join/19%3ameeting_N2Q%40thread.v2/0?context="
                    "%7b%22Tid%22%3a%22abc%22%7d\" target=\"_blank\">Click here to join the meeting</a></div>")
            << text("Microsoft Teams Meeting")
            << u"https://teams.microsoft.com/l/meetup-join/19%3Ameeting_N2Q%40thread.v2/"
               "0?context=%7B%22Tid%22%3A%22abc%22%7D"_s
            << teams;
        QTest::newRow("google meet in location") << none << text("https://meet.google.com/abc-defg-hij")
                                                 << u"https://meet.google.com/abc-defg-hij"_s << u"Google Meet"_s;
        inNotes("webex personal room", "Join: https://acme.webex.com/meet/j.doe",
                u"https://acme.webex.com/meet/j.doe"_s, u"Webex"_s);
        inNotes("generic meeting link", "Agenda and call at https://meet.example.org/meeting/42 ok",
                u"https://meet.example.org/meeting/42"_s, meeting);
        QTest::newRow("zoom in location outranks generic link earlier in notes")
            << text("Backup: https://jitsi.example.org/join/standup") << text("https://zoom.us/j/999")
            << u"https://zoom.us/j/999"_s << zoom;
        inNotes("teams outranks google meet earlier in the text",
                "Old: https://meet.google.com/xyz-abcd-efg New: https://teams.microsoft.com/l/meetup-join/1",
                u"https://teams.microsoft.com/l/meetup-join/1"_s, teams);
        QTest::newRow("same pattern: notes come before location")
            << text("https://zoom.us/j/111") << text("https://zoom.us/j/222") << u"https://zoom.us/j/111"_s << zoom;
        inNotes("generic link on a zoom subdomain is typed zoom", "https://events.zoom.us.example.com/join/7",
                u"https://events.zoom.us.example.com/join/7"_s, zoom);
        inNotes("capitals are found and typed by host", "JOIN: HTTPS://TEAMS.MICROSOFT.COM/L/MEETUP-JOIN/ABC",
                u"https://teams.microsoft.com/L/MEETUP-JOIN/ABC"_s, teams);
        inNotes("trailing parenthesis and full stop stay", "(see https://zoom.us/j/123).", u"https://zoom.us/j/123)."_s,
                zoom);
        const QString zoom123 = u"https://zoom.us/j/123"_s;
        inNotes("ends at a space", "https://zoom.us/j/123 and more", zoom123, zoom);
        inNotes("ends at an angle bracket", "<https://zoom.us/j/123>", zoom123, zoom);
        inNotes("ends at a double quote", "href=\"https://zoom.us/j/123\"", zoom123, zoom);
        inNotes("ends at a no-break space", "https://zoom.us/j/123\u00a0(ID)", zoom123, zoom);
        inNotes("domain without path is no link", "https://zoom.us and https://zoom.us/");
        inNotes("lookalike domain is not zoom", "https://zoom.usa.example.com/j/1");
        inNotes("teams host must be exact", "https://teams.microsoft.com.evil.io/x");
        inNotes("generic segment must be the first", "https://example.com/a/join/1");
        inNotes("generic segment must be exact", "https://example.com/joinus/1");
        inNotes("other schemes are ignored", "ftp://zoom.us/j/1 zoommtg://zoom.us/join?confno=1");
        QTest::newRow("notes and location are joined by a space")
            << text("https://example.com/join") << text("/x") << QString() << QString();
        inNotes("unicode host is accepted", "https://bücher.zoom.us/j/5", u"https://xn--bcher-kva.zoom.us/j/5"_s, zoom);
        // Only where the patterns find nothing: links out of redirect wrappers, then other meeting services.
        inNotes("safe links wrapper",
                "Join: https://nam12.safelinks.protection.outlook.com/?url=https%3A%2F%2Fteams.microsoft.com%2Fl%2F"
                "meetup-join%2F19%253ameeting_N2Q%2540thread.v2%2F0&data=05%7C02%7C&reserved=0",
                u"https://teams.microsoft.com/l/meetup-join/19%3Ameeting_N2Q%40thread.v2/0"_s, teams);
        inNotes("google redirect", "https://www.google.com/url?q=https%3A%2F%2Fzoom.us%2Fj%2F123%3Fpwd%3Dabc&sa=D",
                u"https://zoom.us/j/123?pwd=abc"_s, zoom);
        inNotes("wrapper in a wrapper",
                "https://eur01.safelinks.protection.outlook.com/?url=https%3A%2F%2Fwww.google.com%2Furl%3Fq%3D"
                "https%3A%2F%2Fmeet.google.com%2Fabc-defg-hij%26sa%3DD&data=1",
                u"https://meet.google.com/abc-defg-hij"_s, u"Google Meet"_s);
        inNotes("wrapper in html with escaped ampersands",
                "<a href=\"https://nam12.safelinks.protection.outlook.com/?data=1&amp;url=https%3A%2F%2Fzoom.us%2Fj"
                "%2F7\">Join</a>",
                u"https://zoom.us/j/7"_s, zoom);
        inNotes("a link the patterns find outranks a wrapped one",
                "https://nam12.safelinks.protection.outlook.com/?url=https%3A%2F%2Fzoom.us%2Fj%2F5 or "
                "https://example.org/meeting/1",
                u"https://example.org/meeting/1"_s, meeting);
        inNotes("html character references decoded",
                "<p><a href=\"https://zoom.us/j/123?uname=x&amp;pwd=abc\">Join</a></p>",
                u"https://zoom.us/j/123?uname=x&pwd=abc"_s, zoom);
        inNotes("another meeting service", "Video: https://meet.jit.si/TeamStandup",
                u"https://meet.jit.si/TeamStandup"_s, meeting);
        inNotes("another service behind a wrapper",
                "https://www.google.com/url?q=https%3A%2F%2Facme.zoomgov.com%2Fj%2F161&sa=D",
                u"https://acme.zoomgov.com/j/161"_s, meeting);
        inNotes("another service's join path", "https://global.gotomeeting.com/join/123456789",
                u"https://global.gotomeeting.com/join/123456789"_s, meeting);
        inNotes("another service's other pages", "https://www.gotomeeting.com/pricing");
        inNotes("lookalike of another service", "https://meet.jit.si.example.com/x https://notmeet.jit.si/y");
        inNotes("characters a strict parser refuses", "https://x.example.com/join/{a|b}^`\\%",
                u"https://x.example.com/join/%7Ba%7Cb%7D%5E%60%5C%25"_s, meeting);
        const QString zoom77 = u"https://zoom.us/j/77"_s;
        QTest::newRow("unpaired high surrogate")
            << OptionalText(u"see "_s + QChar(0xD83D) + u' ' + zoom77) << none << zoom77 << zoom;
        QTest::newRow("unpaired low surrogate after")
            << OptionalText(zoom77 + u' ' + QChar(0xDE00)) << none << zoom77 << zoom;
        inNotes("invalid utf-8 decoded", "caf\xe9 \xff\xfe https://zoom.us/j/77 \xc3", zoom77, zoom);
        QTest::newRow("nul characters") << OptionalText(QString::fromUtf16(u"a\0b https://zoom.us/j/77", 24)) << none
                                        << zoom77 << zoom;
    }

    void extractsTheRightLink()
    {
        QFETCH(OptionalText, notes);
        QFETCH(OptionalText, location);
        QFETCH(QString, url);
        QFETCH(QString, type);

        QCOMPARE(found(notes, location), url);
        QCOMPARE(typeText(detectMeetingType(extractMeetingURL(notes, location))), type);
    }

    // A link handed in by the calendar is taken as it is; a conference link only where the notes hold none.
    void eventLinkChoice_data()
    {
        QTest::addColumn<OptionalText>("notes");
        QTest::addColumn<OptionalURL>("handedIn");
        QTest::addColumn<OptionalURL>("conference");
        QTest::addColumn<OptionalURL>("link");
        QTest::addColumn<QString>("type");

        const OptionalText zoomNotes = u"Call: https://zoom.us/j/42"_s;
        const OptionalURL zoom = QUrl(u"https://zoom.us/j/42"_s);
        const OptionalURL teams = QUrl(u"https://teams.microsoft.com/l/meetup-join/abc"_s);
        const OptionalURL phone = QUrl(u"tel:+15551234"_s);
        const OptionalURL none;
        QTest::newRow("found in the notes") << zoomNotes << none << none << zoom << u"Zoom"_s;
        QTest::newRow("handed in, taken unchanged") << zoomNotes << teams << none << teams << u"Microsoft Teams"_s;
        QTest::newRow("handed in without a host") << zoomNotes << phone << none << phone << QString();
        QTest::newRow("conference link only where the notes hold none")
            << zoomNotes << none << teams << zoom << u"Zoom"_s;
        QTest::newRow("conference link") << OptionalText(u"Agenda"_s) << none << teams << teams << u"Microsoft Teams"_s;
        QTest::newRow("nothing") << OptionalText() << none << none << none << QString();
    }

    void eventLinkChoice()
    {
        QFETCH(OptionalText, notes);
        QFETCH(OptionalURL, handedIn);
        QFETCH(OptionalURL, conference);
        QFETCH(OptionalURL, link);
        QFETCH(QString, type);

        const CalendarEvent built(
            {.providerID = u"eventkit"_s, .notes = notes, .meetingURL = handedIn, .conferenceURL = conference});
        QCOMPARE(built.meetingURL(), link);
        QCOMPARE(built.meetingType() ? rawValue(*built.meetingType()) : QString(), type);
    }

    void detectsTypeFromHostAlone_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("type");

        // The type comes from the host alone; the common hosts are typed in the link rows above.
        QTest::newRow("teams on gov cloud host") << u"https://gov.teams.microsoft.com/l/1"_s << u"Microsoft Teams"_s;
        QTest::newRow("zoom wins over webex in one host") << u"https://webex.com.zoom.us/a"_s << u"Zoom"_s;
        QTest::newRow("path does not count") << u"https://example.com/zoom.us/j/1"_s << u"Meeting"_s;
    }

    void detectsTypeFromHostAlone()
    {
        QFETCH(QString, url);
        QFETCH(QString, type);

        QCOMPARE(typeText(detectMeetingType(QUrl(url))), type);
    }

    // What a calendar hands in as its conference link.
    void parserRefusesWhatIsNoLink()
    {
        for (const QString &text :
             {QString(), u"not a url"_s, u"/join/1"_s, u"https:///join/1"_s, u"https://exa mple.com/join/1"_s}) {
            QVERIFY2(!parseMeetingURL(text), qPrintable(text));
        }
    }

    // Any text of the form the patterns produce must come back as a link.
    void parserAcceptsEveryPatternShape()
    {
        const QString hostChars = u"abcxyzABC019_-éß"_s;
        const QString restChars = u"abz09/?#&=%._~-+()[]{}|^`\\'!$*,;:@éü€😀"_s;
        QRandomGenerator random(20261122);
        const auto pick = [&](const QString &chars, int count) {
            QString out;
            for (int i = 0; i < count; ++i) {
                out += chars.at(random.bounded(chars.size()));
            }
            return out;
        };
        for (int i = 0; i < 2000; ++i) {
            const QString label = pick(hostChars, 1 + random.bounded(10)).remove(u'-');
            const QString host = (label.isEmpty() ? u"a"_s : label) + u".zoom.us"_s;
            const QString candidate = u"https://"_s + host + u'/' + pick(restChars, 1 + random.bounded(30));
            const std::optional<QUrl> url = extractMeetingURL(candidate, std::nullopt);
            QVERIFY2(url.has_value(), qPrintable(candidate));
            QCOMPARE(detectMeetingType(url), MeetingType::zoom);
        }
    }

    void hugeBodiesAreSearchedWhole()
    {
        QString body = u"<html><body>"_s;
        while (body.size() < 400'000) {
            body += u"<p>Quarterly numbers, see <a href=\"https://intranet.example.com/report\">the report"
                    "</a> and the notes of last week.</p>\n"_s;
        }
        QCOMPARE(found(body, std::nullopt), QString());
        body += u"<a href=\"https://teams.microsoft.com/l/meetup-join/end\">Join</a></body></html>"_s;
        QCOMPARE(found(body, std::nullopt), u"https://teams.microsoft.com/l/meetup-join/end"_s);
    }
};

QTEST_GUILESS_MAIN(MeetingLinksTest)
#include "tst_meetinglinks.moc"
