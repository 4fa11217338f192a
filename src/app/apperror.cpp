#include "apperror.h"

namespace bellwick {

QString AppError::errorDescription() const
{
    switch (m_case) {
    case Case::fetchFailed:
        return tr("Failed to fetch events: ") + m_detail;
    case Case::networkError:
        return tr("Network error: ") + m_detail;
    case Case::permissionDenied:
        break;
    }
    return tr("Calendar access denied. Please enable in System Settings.");
}

QString AppError::debugDescription() const
{
    switch (m_case) {
    case Case::fetchFailed:
        return QStringLiteral("fetchFailed(\"%1\")").arg(m_detail);
    case Case::networkError:
        return QStringLiteral("networkError(\"%1\")").arg(m_detail);
    case Case::permissionDenied:
        break;
    }
    return QStringLiteral("permissionDenied");
}

} // namespace bellwick
