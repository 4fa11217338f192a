#include "calendarevent.h"

#include "meetinglinks.h"

namespace bellwick {

CalendarEvent::CalendarEvent(Fields fields)
    : m_id(fields.providerID + u'_' + fields.originalID), m_fields(std::move(fields))
{
    if (!m_fields.meetingURL) {
        m_fields.meetingURL = extractMeetingURL(m_fields.notes, m_fields.location, m_fields.conferenceURL);
    }
    m_meetingType = detectMeetingType(m_fields.meetingURL);
}

CalendarEvent CalendarEvent::occurrence(QString originalID, QDateTime startDate, QDateTime endDate, bool isAllDay) const
{
    CalendarEvent other = *this;
    other.m_id = m_fields.providerID + u'_' + originalID;
    other.m_fields.originalID = std::move(originalID);
    other.m_fields.startDate = std::move(startDate);
    other.m_fields.endDate = std::move(endDate);
    other.m_fields.isAllDay = isAllDay;
    return other;
}

} // namespace bellwick
