#include "calendarprovidererror.h"

namespace bellwick {

CalendarProviderError::CalendarProviderError(Case errorCase, std::exception_ptr underlying)
    : m_case(errorCase), m_underlying(std::move(underlying))
{ }

CalendarProviderError CalendarProviderError::networkError(std::exception_ptr underlying)
{
    return CalendarProviderError(Case::networkError, std::move(underlying));
}

CalendarProviderError CalendarProviderError::unknown(std::exception_ptr underlying)
{
    return CalendarProviderError(Case::unknown, std::move(underlying));
}

QString CalendarProviderError::errorDescription() const
{
    switch (m_case) {
    case Case::networkError:
        return tr("Network error: ") + localizedDescription(m_underlying);
    case Case::unknown:
        return tr("An unexpected error occurred: ") + localizedDescription(m_underlying);
    case Case::notAuthorized:
        return tr("Calendar access not authorized. Please grant permission in System Settings.");
    case Case::accessDenied:
        return tr("Access to calendar was denied.");
    case Case::invalidResponse:
        return tr("Received invalid response from calendar service.");
    case Case::tokenExpired:
        return tr("Authentication expired. Please sign in again.");
    case Case::providerUnavailable:
        break;
    }
    return tr("Calendar service is currently unavailable.");
}

QString CalendarProviderError::debugDescription() const
{
    switch (m_case) {
    case Case::networkError:
        return QStringLiteral("networkError(") + bellwick::debugDescription(m_underlying) + u')';
    case Case::unknown:
        return QStringLiteral("unknown(") + bellwick::debugDescription(m_underlying) + u')';
    case Case::notAuthorized:
        return QStringLiteral("notAuthorized");
    case Case::accessDenied:
        return QStringLiteral("accessDenied");
    case Case::invalidResponse:
        return QStringLiteral("invalidResponse");
    case Case::tokenExpired:
        return QStringLiteral("tokenExpired");
    case Case::providerUnavailable:
        break;
    }
    return QStringLiteral("providerUnavailable");
}

} // namespace bellwick
