#pragma once

#include "platform/error.h"

#include <QCoreApplication>

#include <exception>

namespace bellwick {

// A failure a calendar source classified; unclassified failures pass through as they are.
class CalendarProviderError : public Error
{
    Q_DECLARE_TR_FUNCTIONS(CalendarProviderError)

public:
    enum class Case {
        networkError,
        unknown,
        notAuthorized,
        accessDenied,
        invalidResponse,
        tokenExpired,
        providerUnavailable
    };

    [[nodiscard]] static CalendarProviderError networkError(std::exception_ptr underlying);
    [[nodiscard]] static CalendarProviderError unknown(std::exception_ptr underlying);
    [[nodiscard]] static CalendarProviderError notAuthorized() { return CalendarProviderError(Case::notAuthorized); }
    [[nodiscard]] static CalendarProviderError accessDenied() { return CalendarProviderError(Case::accessDenied); }
    [[nodiscard]] static CalendarProviderError invalidResponse()
    {
        return CalendarProviderError(Case::invalidResponse);
    }
    [[nodiscard]] static CalendarProviderError tokenExpired() { return CalendarProviderError(Case::tokenExpired); }
    [[nodiscard]] static CalendarProviderError providerUnavailable()
    {
        return CalendarProviderError(Case::providerUnavailable);
    }

    [[nodiscard]] Case errorCase() const { return m_case; }
    // The failure behind networkError and unknown; null for the other cases.
    [[nodiscard]] const std::exception_ptr &underlying() const { return m_underlying; }

    [[nodiscard]] QString errorDescription() const override;
    [[nodiscard]] QString debugDescription() const override;

private:
    explicit CalendarProviderError(Case errorCase, std::exception_ptr underlying = nullptr);

    Case m_case;
    std::exception_ptr m_underlying;
};

} // namespace bellwick
