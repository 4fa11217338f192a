#pragma once

#include "platform/error.h"

#include <QCoreApplication>

namespace bellwick {

// Why a Microsoft 365 sign-in, or the renewal of its session, failed.
class AuthError : public Error
{
    Q_DECLARE_TR_FUNCTIONS(AuthError)

public:
    enum class Case {
        authSessionFailed,
        networkError,
        invalidConfiguration,
        userCancelled,
        invalidCallback,
        tokenExchangeFailed,
        tokenExpired,
        notAuthenticated
    };

    [[nodiscard]] static AuthError authSessionFailed(QString text)
    {
        return AuthError(Case::authSessionFailed, std::move(text));
    }
    [[nodiscard]] static AuthError networkError(QString text) { return AuthError(Case::networkError, std::move(text)); }
    [[nodiscard]] static AuthError invalidConfiguration() { return AuthError(Case::invalidConfiguration); }
    [[nodiscard]] static AuthError userCancelled() { return AuthError(Case::userCancelled); }
    [[nodiscard]] static AuthError invalidCallback() { return AuthError(Case::invalidCallback); }
    [[nodiscard]] static AuthError tokenExchangeFailed() { return AuthError(Case::tokenExchangeFailed); }
    [[nodiscard]] static AuthError tokenExpired() { return AuthError(Case::tokenExpired); }
    [[nodiscard]] static AuthError notAuthenticated() { return AuthError(Case::notAuthenticated); }

    [[nodiscard]] Case errorCase() const { return m_case; }

    [[nodiscard]] QString errorDescription() const override;
    [[nodiscard]] QString debugDescription() const override;

private:
    explicit AuthError(Case errorCase, QString text = {}) : m_case(errorCase), m_text(std::move(text)) { }

    Case m_case;
    QString m_text;
};

} // namespace bellwick
