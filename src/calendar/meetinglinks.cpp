#include "meetinglinks.h"

#include <QRegularExpression>
#include <QUrlQuery>

#include <array>

namespace bellwick {

namespace {

// Redirects that carry the real link in a query parameter, as mail filters and calendar exports rewrite links.
struct LinkWrapper {
    QStringView domain;
    QStringView pathPrefix;
    QStringView parameter;
};

constexpr std::array linkWrappers{
    LinkWrapper{u"safelinks.protection.outlook.com", u"/", u"url"},
    LinkWrapper{u"statics.teams.cdn.office.net", u"/evergreen-assets/safelinks/", u"url"},
    LinkWrapper{u"google.com", u"/url", u"q"},
    LinkWrapper{u"linkprotect.cudasvc.com", u"/url", u"a"},
    LinkWrapper{u"slack-redir.net", u"/link", u"url"},
    LinkWrapper{u"l.facebook.com", u"/l.php", u"u"},
    LinkWrapper{u"linkedin.com", u"/redir/redirect", u"url"},
};

// Meeting services the patterns leave out, typed `other`; each matches with any subdomain before it.
struct MeetingHost {
    QStringView domain;
    QStringView pathPrefix;
};

constexpr std::array otherMeetingHosts{
    MeetingHost{u"meet.jit.si", u"/"},
    MeetingHost{u"8x8.vc", u"/"},
    MeetingHost{u"bluejeans.com", u"/"},
    MeetingHost{u"gotomeeting.com", u"/join/"},
    MeetingHost{u"gotomeet.me", u"/"},
    MeetingHost{u"meet.goto.com", u"/"},
    MeetingHost{u"whereby.com", u"/"},
    MeetingHost{u"chime.aws", u"/"},
    MeetingHost{u"join.skype.com", u"/"},
    MeetingHost{u"meet.lync.com", u"/"},
    MeetingHost{u"app.slack.com", u"/huddle/"},
    MeetingHost{u"meeting.zoho.com", u"/"},
    MeetingHost{u"meeting.zoho.eu", u"/"},
    MeetingHost{u"meeting.zoho.in", u"/"},
    MeetingHost{u"lifesizecloud.com", u"/"},
    MeetingHost{u"zoomgov.com", u"/"},
    MeetingHost{u"teams.live.com", u"/meet/"},
    MeetingHost{u"meetings.ringcentral.com", u"/"},
    MeetingHost{u"v.ringcentral.com", u"/"},
    MeetingHost{u"meetings.dialpad.com", u"/"},
    MeetingHost{u"facetime.apple.com", u"/join"},
};

constexpr int maximumWrapperDepth = 3;

QString escaped(QStringView text)
{
    return QRegularExpression::escape(text.toString());
}

QRegularExpression compiled(const QString &pattern)
{
    QRegularExpression expression(pattern, QRegularExpression::CaseInsensitiveOption
                                               | QRegularExpression::UseUnicodePropertiesOption);
    expression.optimize();
    return expression;
}

const QString &subdomains()
{
    static const QString labels = QStringLiteral("(?:[\\w-]+\\.)*");
    return labels;
}

// What comes between the scheme and the first slash of the five patterns' links, in the patterns' order.
const std::array<QString, 5> &patternHosts()
{
    static const QString anyLabels = QStringLiteral("[\\w.-]*");
    static const std::array<QString, 5> hosts{
        anyLabels + escaped(zoomMeetingDomain),
        escaped(teamsMeetingHost),
        escaped(googleMeetMeetingHost),
        anyLabels + escaped(webexMeetingDomain),
        QStringLiteral("[\\w.-]+/(?:join|meeting|call)"),
    };
    return hosts;
}

const QString &wrapperDomains()
{
    static const QString domains = [] {
        QStringList alternatives;
        for (const LinkWrapper &wrapper : linkWrappers) {
            alternatives << escaped(wrapper.domain);
        }
        return alternatives.join(u'|');
    }();
    return domains;
}

const QString &otherHostPaths()
{
    static const QString paths = [] {
        QStringList alternatives;
        for (const MeetingHost &host : otherMeetingHosts) {
            alternatives << escaped(host.domain) + escaped(host.pathPrefix);
        }
        return alternatives.join(u'|');
    }();
    return paths;
}

// Built once: compiling these per call would dominate the cost of scanning a large invitation body.
const std::array<QRegularExpression, 5> &meetingURLPatterns()
{
    static const std::array<QRegularExpression, 5> patterns = [] {
        std::array<QRegularExpression, 5> compiledPatterns;
        for (size_t index = 0; index < compiledPatterns.size(); ++index) {
            compiledPatterns.at(index) =
                compiled(QStringLiteral("https?://") + patternHosts().at(index) + QStringLiteral("/[^\\s<>\"]+"));
        }
        return compiledPatterns;
    }();
    return patterns;
}

// Redirect wrappers (captured) and the links of other meeting services.
const QRegularExpression &extrasPattern()
{
    static const QRegularExpression pattern =
        compiled(QStringLiteral("https?://") + subdomains() + QStringLiteral("(?:(") + wrapperDomains()
                 + QStringLiteral(")/[^\\s<>\"]*|(?:") + otherHostPaths() + QStringLiteral(")[^\\s<>\"]+)"));
    return pattern;
}

// Whatever any search below finds starts at or after this pattern's first match, so a long body without a meeting
// link costs this one pass, and the searches start where it matched.
const QRegularExpression &anyCandidate()
{
    static const QRegularExpression pattern = [] {
        QStringList hosts;
        for (const QString &host : patternHosts()) {
            hosts << host;
        }
        return compiled(QStringLiteral("https?://(?:(?:") + hosts.join(u'|') + QStringLiteral(")/[^\\s<>\"]|")
                        + subdomains() + QStringLiteral("(?:") + wrapperDomains() + QStringLiteral(")/|") + subdomains()
                        + QStringLiteral("(?:") + otherHostPaths() + QStringLiteral(")[^\\s<>\"])"));
    }();
    return pattern;
}

// The regex engine refuses to search text with unpaired surrogates; replace them so the rest is still searched.
QString withValidUtf16(QString text)
{
    if (QStringView(text).isValidUtf16()) {
        return text;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i;
        } else if (c.isSurrogate()) {
            text[i] = QChar::ReplacementCharacter;
        }
    }
    return text;
}

QString searchText(const std::optional<QString> &notes, const std::optional<QString> &location)
{
    if (notes && location) {
        return *notes + u' ' + *location;
    }
    return notes ? *notes : location.value_or(QString());
}

bool isHtml(const QString &text)
{
    static const QRegularExpression tag = compiled(QStringLiteral("<(?:/?[a-z][\\w-]*|!--)[^<>]*>"));
    return tag.match(text).hasMatch();
}

// HTML notes escape the ampersands of a link's query; left escaped, a passcode after one would be lost.
QString withCharacterReferencesDecoded(const QString &link)
{
    static const QRegularExpression reference =
        compiled(QStringLiteral("&(?:#(\\d{1,7})|#x([0-9a-f]{1,6})|(amp|lt|gt|quot|apos));"));
    QString decoded;
    qsizetype copied = 0;
    for (const QRegularExpressionMatch &match : reference.globalMatch(link)) {
        char32_t code = 0;
        if (match.hasCaptured(1)) {
            code = match.captured(1).toUInt();
        } else if (match.hasCaptured(2)) {
            code = match.captured(2).toUInt(nullptr, 16);
        } else {
            static const QHash<QString, char32_t> named{
                {QStringLiteral("amp"), U'&'},  {QStringLiteral("lt"), U'<'},    {QStringLiteral("gt"), U'>'},
                {QStringLiteral("quot"), U'"'}, {QStringLiteral("apos"), U'\''},
            };
            code = named.value(match.captured(3).toLower());
        }
        decoded += QStringView(link).sliced(copied, match.capturedStart() - copied);
        decoded += QString::fromUcs4(&code, 1);
        copied = match.capturedEnd();
    }
    return copied == 0 ? link : decoded + QStringView(link).sliced(copied);
}

QString parseableLink(const QString &link, const QString &text)
{
    return link.contains(u'&') && isHtml(text) ? withCharacterReferencesDecoded(link) : link;
}

bool hasDomain(const QString &host, QStringView domain)
{
    return host.endsWith(domain, Qt::CaseInsensitive)
           && (host.size() == domain.size() || host.at(host.size() - domain.size() - 1) == u'.');
}

// The link a redirect carries, itself unwrapped when it is a redirect again; anything else stays as it is.
QString unwrapped(const QString &link, int depth = 0)
{
    const QUrl url(link, QUrl::TolerantMode);
    for (const LinkWrapper &wrapper : linkWrappers) {
        if (!hasDomain(url.host(), wrapper.domain) || !url.path().startsWith(wrapper.pathPrefix)) {
            continue;
        }
        const QString target = QUrlQuery(url).queryItemValue(wrapper.parameter.toString(), QUrl::FullyDecoded);
        if (!target.isEmpty() && depth < maximumWrapperDepth) {
            return unwrapped(target, depth + 1);
        }
    }
    return link;
}

struct Extras {
    // The text with every wrapper replaced by the link it carries.
    QString unwrappedText;
    // The first link of another meeting service in the text as it was.
    std::optional<QString> otherLink;
};

Extras extrasIn(const QString &text, qsizetype from)
{
    Extras extras;
    qsizetype copied = 0;
    for (const QRegularExpressionMatch &match : extrasPattern().globalMatch(text, from)) {
        if (!match.hasCaptured(1)) {
            extras.otherLink = extras.otherLink.value_or(match.captured(0));
            continue;
        }
        extras.unwrappedText += QStringView(text).sliced(copied, match.capturedStart() - copied);
        extras.unwrappedText += unwrapped(parseableLink(match.captured(0), text));
        copied = match.capturedEnd();
    }
    extras.unwrappedText = copied == 0 ? text : extras.unwrappedText + QStringView(text).sliced(copied);
    return extras;
}

std::optional<QUrl> otherMeetingURL(const Extras &extras, const QString &text)
{
    return extras.otherLink ? parseMeetingURL(parseableLink(*extras.otherLink, text)) : std::nullopt;
}

std::optional<QUrl> searchPatterns(const QString &text, qsizetype from)
{
    for (const QRegularExpression &pattern : meetingURLPatterns()) {
        const QRegularExpressionMatch match = pattern.match(text, from);
        if (match.hasMatch()) {
            return parseMeetingURL(parseableLink(match.captured(0), text));
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<QUrl> parseMeetingURL(const QString &text)
{
    const QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
}

std::optional<QUrl> extractMeetingURL(const std::optional<QString> &notes, const std::optional<QString> &location,
                                      const std::optional<QUrl> &conferenceURL)
{
    const QString text = withValidUtf16(searchText(notes, location));
    const QRegularExpressionMatch candidate = anyCandidate().match(text);
    const qsizetype from = candidate.hasMatch() ? candidate.capturedStart() : text.size();
    if (std::optional<QUrl> found = searchPatterns(text, from)) {
        return found;
    }
    if (conferenceURL) {
        return conferenceURL;
    }
    const Extras extras = extrasIn(text, from);
    if (extras.unwrappedText == text) {
        return otherMeetingURL(extras, text);
    }
    // The text before the first candidate is the same, and no link can reach into it from the unwrapped ones.
    if (std::optional<QUrl> found = searchPatterns(extras.unwrappedText, from)) {
        return found;
    }
    return otherMeetingURL(extrasIn(extras.unwrappedText, from), extras.unwrappedText);
}

std::optional<MeetingType> detectMeetingType(const std::optional<QUrl> &url)
{
    if (!url) {
        return std::nullopt;
    }
    const QString host = url->host().toLower();
    if (host.isEmpty()) {
        return std::nullopt;
    }
    if (host.contains(zoomMeetingDomain)) {
        return MeetingType::zoom;
    }
    if (host.contains(teamsMeetingHost)) {
        return MeetingType::teams;
    }
    if (host.contains(googleMeetMeetingHost)) {
        return MeetingType::googleMeet;
    }
    if (host.contains(webexMeetingDomain)) {
        return MeetingType::webex;
    }
    return MeetingType::other;
}

} // namespace bellwick
