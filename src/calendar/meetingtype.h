#pragma once

#include <QString>

#include <array>
#include <optional>

namespace bellwick {

// The online-meeting service behind a link.
enum class MeetingType { zoom, teams, googleMeet, webex, other };

inline constexpr std::array allMeetingTypes{MeetingType::zoom, MeetingType::teams, MeetingType::googleMeet,
                                            MeetingType::webex, MeetingType::other};

// The raw value, which is also the text shown to the user.
[[nodiscard]] QString rawValue(MeetingType type);
// Exact, case-sensitive match of a raw value.
[[nodiscard]] std::optional<MeetingType> meetingTypeFromRawValue(QStringView raw);

} // namespace bellwick
