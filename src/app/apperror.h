#pragma once

#include "platform/error.h"

#include <QCoreApplication>

namespace bellwick {

// A failure the application itself records, such as a refresh of the event list that did not get through.
class AppError : public Error
{
    Q_DECLARE_TR_FUNCTIONS(AppError)

public:
    enum class Case { fetchFailed, networkError, permissionDenied };

    [[nodiscard]] static AppError fetchFailed(QString detail) { return {Case::fetchFailed, std::move(detail)}; }
    [[nodiscard]] static AppError networkError(QString detail) { return {Case::networkError, std::move(detail)}; }
    [[nodiscard]] static AppError permissionDenied() { return {Case::permissionDenied, {}}; }

    [[nodiscard]] QString errorDescription() const override;
    [[nodiscard]] QString debugDescription() const override;

private:
    AppError(Case errorCase, QString detail) : m_case(errorCase), m_detail(std::move(detail)) { }

    Case m_case;
    QString m_detail;
};

} // namespace bellwick
