#include "calendar/meetinglinks.h"

#include <QRandomGenerator>
#include <QTest>

using namespace bellwick;

using OptionalText = std::optional<QString>;
Q_DECLARE_METATYPE(OptionalText)

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
        QTest::newRow("zoom invitation") << text("Hi all,\n\nJoin Zoom Meeting\nhttps://us02web.zoom.us/j/85512345678"
                                                 "?pwd=aBcD1234\n\nMeeting ID: 855 1234 5678")
                                         << none << "https://us02web.zoom.us/j/85512345678?pwd=aBcD1234"
                                         << "Zoom";
        QTest::newRow("zoom company subdomain") << text("Dial in: https://acme-corp.eu.zoom.us/my/standup") << none
                                                << "https://acme-corp.eu.zoom.us/my/standup"
                                                << "Zoom";
        QTest::newRow("teams in html body")
            << text("<div><a href=\"https://teams.microsoft.com/l/meetup-join/19%3ameeting_N2Q%40thread.v2/0?context="
                    "%7b%22Tid%22%3a%22abc%22%7d\" target=\"_blank\">Click here to join the meeting</a></div>")
            << text("Microsoft Teams Meeting")
            << "https://teams.microsoft.com/l/meetup-join/19%3Ameeting_N2Q%40thread.v2/"
               "0?context=%7B%22Tid%22%3A%22abc%22%7D"
            << "Microsoft Teams";
        QTest::newRow("google meet in location")
            << none << text("https://meet.google.com/abc-defg-hij") << "https://meet.google.com/abc-defg-hij"
            << "Google Meet";
        QTest::newRow("webex personal room")
            << text("Join: https://acme.webex.com/meet/j.doe") << none << "https://acme.webex.com/meet/j.doe"
            << "Webex";
        QTest::newRow("generic meeting link") << text("Agenda and call at https://meet.example.org/meeting/42 ok")
                                              << none << "https://meet.example.org/meeting/42"
                                              << "Meeting";
        QTest::newRow("zoom in location outranks generic link earlier in notes")
            << text("Backup: https://jitsi.example.org/join/standup") << text("https://zoom.us/j/999")
            << "https://zoom.us/j/999"
            << "Zoom";
        QTest::newRow("teams outranks google meet earlier in the text")
            << text("Old: https://meet.google.com/xyz-abcd-efg New: https://teams.microsoft.com/l/meetup-join/1")
            << none << "https://teams.microsoft.com/l/meetup-join/1"
            << "Microsoft Teams";
        QTest::newRow("same pattern: notes come before location")
            << text("https://zoom.us/j/111") << text("https://zoom.us/j/222") << "https://zoom.us/j/111"
            << "Zoom";
        QTest::newRow("generic link on a zoom subdomain is typed zoom")
            << text("https://events.zoom.us.example.com/join/7") << none << "https://events.zoom.us.example.com/join/7"
            << "Zoom";
        QTest::newRow("capitals are found and typed by host")
            << text("JOIN: HTTPS://TEAMS.MICROSOFT.COM/L/MEETUP-JOIN/ABC") << none
            << "https://teams.microsoft.com/L/MEETUP-JOIN/ABC"
            << "Microsoft Teams";
        QTest::newRow("trailing parenthesis and full stop stay")
            << text("(see https://zoom.us/j/123).") << none << "https://zoom.us/j/123)."
            << "Zoom";
        QTest::newRow("ends at a space") << text("https://zoom.us/j/123 and more") << none << "https://zoom.us/j/123"
                                         << "Zoom";
        QTest::newRow("ends at an angle bracket") << text("<https://zoom.us/j/123>") << none << "https://zoom.us/j/123"
                                                  << "Zoom";
        QTest::newRow("ends at a double quote")
            << text("href=\"https://zoom.us/j/123\"") << none << "https://zoom.us/j/123"
            << "Zoom";
        QTest::newRow("ends at a no-break space")
            << text("https://zoom.us/j/123\u00a0(ID)") << none << "https://zoom.us/j/123"
            << "Zoom";
        QTest::newRow("domain without path is no link")
            << text("https://zoom.us and https://zoom.us/") << none << QString() << QString();
        QTest::newRow("lookalike domain is not zoom")
            << text("https://zoom.usa.example.com/j/1") << none << QString() << QString();
        QTest::newRow("teams host must be exact")
            << text("https://teams.microsoft.com.evil.io/x") << none << QString() << QString();
        QTest::newRow("generic segment must be the first")
            << text("https://example.com/a/join/1") << none << QString() << QString();
        QTest::newRow("generic segment must be exact")
            << text("https://example.com/joinus/1") << none << QString() << QString();
        QTest::newRow("other schemes are ignored")
            << text("ftp://zoom.us/j/1 zoommtg://zoom.us/join?confno=1") << none << QString() << QString();
        QTest::newRow("notes and location are joined by a space")
            << text("https://example.com/join") << text("/x") << QString() << QString();
        QTest::newRow("unicode host is accepted")
            << text("https://bücher.zoom.us/j/5") << none << "https://xn--bcher-kva.zoom.us/j/5"
            << "Zoom";
        QTest::newRow("characters a strict parser refuses") << text("https://x.example.com/join/{a|b}^`\\%") << none
                                                            << "https://x.example.com/join/%7Ba%7Cb%7D%5E%60%5C%25"
                                                            << "Meeting";
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

    void detectsTypeFromHostAlone_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("type");

        QTest::newRow("zoom") << "https://zoom.us/j/1"
                              << "Zoom";
        QTest::newRow("zoom anywhere in host") << "https://zoom.us.example.net/x"
                                               << "Zoom";
        QTest::newRow("teams") << "https://teams.microsoft.com/l/1"
                               << "Microsoft Teams";
        QTest::newRow("teams on gov cloud host") << "https://gov.teams.microsoft.com/l/1"
                                                 << "Microsoft Teams";
        QTest::newRow("meet") << "https://meet.google.com/a"
                              << "Google Meet";
        QTest::newRow("webex") << "https://acme.webex.com/a"
                               << "Webex";
        QTest::newRow("zoom wins over webex in one host") << "https://webex.com.zoom.us/a"
                                                          << "Zoom";
        QTest::newRow("path does not count") << "https://example.com/zoom.us/j/1"
                                             << "Meeting";
        QTest::newRow("no host") << "mailto:someone@example.com" << QString();
    }

    void detectsTypeFromHostAlone()
    {
        QFETCH(QString, url);
        QFETCH(QString, type);

        QCOMPARE(typeText(detectMeetingType(QUrl(url))), type);
    }

    void noURLHasNoType() { QVERIFY(!detectMeetingType(std::nullopt)); }

    void parserRefusesWhatIsNoLink_data()
    {
        QTest::addColumn<QString>("text");

        QTest::newRow("empty") << QString();
        QTest::newRow("words") << QStringLiteral("not a url");
        QTest::newRow("relative") << QStringLiteral("/join/1");
        QTest::newRow("no host") << QStringLiteral("https:///join/1");
        QTest::newRow("space in host") << QStringLiteral("https://exa mple.com/join/1");
    }

    void parserRefusesWhatIsNoLink()
    {
        QFETCH(QString, text);
        QVERIFY(!parseMeetingURL(text));
    }

    // Any text of the form the patterns produce must come back as a link.
    void parserAcceptsEveryPatternShape()
    {
        const QString hostChars = QStringLiteral("abcxyzABC019_-éß");
        const QString restChars = QStringLiteral("abz09/?#&=%._~-+()[]{}|^`\\'!$*,;:@éü€😀");
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
            const QString host = (label.isEmpty() ? QStringLiteral("a") : label) + QStringLiteral(".zoom.us");
            const QString candidate =
                QStringLiteral("https://") + host + u'/' + pick(restChars, 1 + random.bounded(30));
            const std::optional<QUrl> url = extractMeetingURL(candidate, std::nullopt);
            QVERIFY2(url.has_value(), qPrintable(candidate));
            QCOMPARE(detectMeetingType(url), MeetingType::zoom);
        }
    }

    void hugeBodiesAreSearchedWhole()
    {
        QString body = QStringLiteral("<html><body>");
        while (body.size() < 400'000) {
            body +=
                QStringLiteral("<p>Quarterly numbers, see <a href=\"https://intranet.example.com/report\">the report"
                               "</a> and the notes of last week.</p>\n");
        }
        QCOMPARE(found(body, std::nullopt), QString());
        body += QStringLiteral("<a href=\"https://teams.microsoft.com/l/meetup-join/end\">Join</a></body></html>");
        QCOMPARE(found(body, std::nullopt), QStringLiteral("https://teams.microsoft.com/l/meetup-join/end"));
    }

    void brokenTextStillYieldsItsLink_data()
    {
        QTest::addColumn<QString>("notes");

        QString loneHigh = QStringLiteral("see ");
        loneHigh += QChar(0xD83D);
        loneHigh += QStringLiteral(" https://zoom.us/j/77");
        QTest::newRow("unpaired high surrogate") << loneHigh;
        QString loneLow = QStringLiteral("https://zoom.us/j/77 ");
        loneLow += QChar(0xDE00);
        QTest::newRow("unpaired low surrogate after") << loneLow;
        QTest::newRow("invalid utf-8 decoded")
            << QString::fromUtf8(QByteArray("caf\xe9 \xff\xfe https://zoom.us/j/77 \xc3"));
        QTest::newRow("nul characters") << QString::fromUtf16(u"a\0b https://zoom.us/j/77", 24);
    }

    void brokenTextStillYieldsItsLink()
    {
        QFETCH(QString, notes);
        QCOMPARE(found(notes, std::nullopt), QStringLiteral("https://zoom.us/j/77"));
    }

    void meetingTypeRawValues_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<bool>("known");

        for (const MeetingType type : allMeetingTypes) {
            QTest::newRow(qPrintable(rawValue(type))) << rawValue(type) << true;
        }
        QTest::newRow("lower case") << QStringLiteral("teams") << false;
        QTest::newRow("case differs") << QStringLiteral("microsoft teams") << false;
        QTest::newRow("trailing space") << QStringLiteral("Zoom ") << false;
        QTest::newRow("empty") << QString() << false;
    }

    void meetingTypeRawValues()
    {
        QFETCH(QString, raw);
        QFETCH(bool, known);

        const std::optional<MeetingType> type = meetingTypeFromRawValue(raw);
        QCOMPARE(type.has_value(), known);
        if (type) {
            QCOMPARE(rawValue(*type), raw);
        }
    }
};

QTEST_GUILESS_MAIN(MeetingLinksTest)
#include "tst_meetinglinks.moc"
