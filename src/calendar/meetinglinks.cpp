#include "meetinglinks.h"

#include <QRegularExpression>

#include <array>

namespace bellwick {

namespace {

QString escapedDots(QStringView domain)
{
    return domain.toString().replace(u'.', QStringLiteral("\\."));
}

QRegularExpression linkPattern(const QString &middle)
{
    static const QString scheme = QStringLiteral("https?://");
    static const QString rest = QStringLiteral("/[^\\s<>\"]+");
    QRegularExpression pattern(scheme + middle + rest, QRegularExpression::CaseInsensitiveOption
                                                           | QRegularExpression::UseUnicodePropertiesOption);
    pattern.optimize();
    return pattern;
}

// Built once: compiling these per call would dominate the cost of scanning a large invitation body.
const std::array<QRegularExpression, 5> &meetingURLPatterns()
{
    static const QString anyLabels = QStringLiteral("[\\w.-]*");
    static const std::array<QRegularExpression, 5> patterns{
        linkPattern(anyLabels + escapedDots(zoomMeetingDomain)),
        linkPattern(escapedDots(teamsMeetingHost)),
        linkPattern(escapedDots(googleMeetMeetingHost)),
        linkPattern(anyLabels + escapedDots(webexMeetingDomain)),
        linkPattern(QStringLiteral("[\\w.-]+/(?:join|meeting|call)")),
    };
    return patterns;
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

} // namespace

std::optional<QUrl> parseMeetingURL(const QString &text)
{
    const QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
}

std::optional<QUrl> extractMeetingURL(const std::optional<QString> &notes, const std::optional<QString> &location)
{
    const QString text = withValidUtf16(searchText(notes, location));
    if (text.isEmpty()) {
        return std::nullopt;
    }
    for (const QRegularExpression &pattern : meetingURLPatterns()) {
        const QRegularExpressionMatch match = pattern.match(text);
        if (match.hasMatch()) {
            return parseMeetingURL(match.captured(0));
        }
    }
    return std::nullopt;
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
