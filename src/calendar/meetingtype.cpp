#include "meetingtype.h"

namespace bellwick {

QString rawValue(MeetingType type)
{
    switch (type) {
    case MeetingType::zoom:
        return QStringLiteral("Zoom");
    case MeetingType::teams:
        return QStringLiteral("Microsoft Teams");
    case MeetingType::googleMeet:
        return QStringLiteral("Google Meet");
    case MeetingType::webex:
        return QStringLiteral("Webex");
    case MeetingType::other:
        break;
    }
    return QStringLiteral("Meeting");
}

std::optional<MeetingType> meetingTypeFromRawValue(QStringView raw)
{
    for (const MeetingType type : allMeetingTypes) {
        if (raw == rawValue(type)) {
            return type;
        }
    }
    return std::nullopt;
}

} // namespace bellwick
