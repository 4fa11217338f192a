#include "autherror.h"

namespace bellwick {

QString AuthError::errorDescription() const
{
    switch (m_case) {
    case Case::authSessionFailed:
        return tr("Authentication failed: ") + m_text;
    case Case::networkError:
        return tr("Network error: ") + m_text;
    case Case::invalidConfiguration:
        return tr("Invalid OAuth configuration. Please check your Azure AD app settings.");
    case Case::userCancelled:
        return tr("Sign in was cancelled.");
    case Case::invalidCallback:
        return tr("Invalid authentication callback received.");
    case Case::tokenExchangeFailed:
        return tr("Failed to exchange authorization code for tokens.");
    case Case::tokenExpired:
        return tr("Your session has expired. Please sign in again.");
    case Case::notAuthenticated:
        break;
    }
    return tr("Not authenticated. Please sign in first.");
}

QString AuthError::debugDescription() const
{
    switch (m_case) {
    case Case::authSessionFailed:
        return QStringLiteral("authSessionFailed(") + m_text + u')';
    case Case::networkError:
        return QStringLiteral("networkError(") + m_text + u')';
    case Case::invalidConfiguration:
        return QStringLiteral("invalidConfiguration");
    case Case::userCancelled:
        return QStringLiteral("userCancelled");
    case Case::invalidCallback:
        return QStringLiteral("invalidCallback");
    case Case::tokenExchangeFailed:
        return QStringLiteral("tokenExchangeFailed");
    case Case::tokenExpired:
        return QStringLiteral("tokenExpired");
    case Case::notAuthenticated:
        break;
    }
    return QStringLiteral("notAuthenticated");
}

} // namespace bellwick
