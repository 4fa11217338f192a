#include "calendarevent.h"

#include "meetinglinks.h"

namespace bellwick {

CalendarEvent::CalendarEvent(Fields fields)
    : m_id(fields.providerID + u'_' + fields.originalID), m_fields(std::move(fields))
{
    if (!m_fields.meetingURL) {
        m_fields.meetingURL = extractMeetingURL(m_fields.notes, m_fields.location);
    }
    m_meetingType = detectMeetingType(m_fields.meetingURL);
}

} // namespace bellwick
