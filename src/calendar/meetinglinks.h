#pragma once

#include "meetingtype.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace bellwick {

// Meeting domains, lower-case; Zoom and Webex also match with any subdomain before them.
inline constexpr QStringView zoomMeetingDomain = u"zoom.us";
inline constexpr QStringView teamsMeetingHost = u"teams.microsoft.com";
inline constexpr QStringView googleMeetMeetingHost = u"meet.google.com";
inline constexpr QStringView webexMeetingDomain = u"webex.com";

// The first meeting link found in notes, then location; the order of the patterns outranks the order of the text.
// Only where the patterns find none: the conference link the source knows, then the patterns again on links taken
// out of redirect wrappers, then well-known meeting hosts of other services.
[[nodiscard]] std::optional<QUrl> extractMeetingURL(const std::optional<QString> &notes,
                                                    const std::optional<QString> &location,
                                                    const std::optional<QUrl> &conferenceURL = std::nullopt);

// The service of a link, from its host alone.
[[nodiscard]] std::optional<MeetingType> detectMeetingType(const std::optional<QUrl> &url);

// Parses an absolute link with a scheme and a host; anything else is refused.
[[nodiscard]] std::optional<QUrl> parseMeetingURL(const QString &text);

} // namespace bellwick
