#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace bellwick {

// Base of every failure Bellwick raises: one text for the user, one for diagnostics.
class Error : public std::exception
{
public:
    [[nodiscard]] virtual QString errorDescription() const = 0;
    // The case name with its payload, as diagnostic lines print it.
    [[nodiscard]] virtual QString debugDescription() const = 0;

    [[nodiscard]] const char *what() const noexcept override;

private:
    mutable QByteArray m_what;
};

// The user-facing text of any failure, whether Bellwick's own or not.
[[nodiscard]] QString localizedDescription(const std::exception &error);
[[nodiscard]] QString localizedDescription(const std::exception_ptr &error);
// The diagnostic text of any failure.
[[nodiscard]] QString debugDescription(const std::exception &error);
[[nodiscard]] QString debugDescription(const std::exception_ptr &error);

} // namespace bellwick
