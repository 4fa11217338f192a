#pragma once

#include <QString>

namespace bellwick {

// Whether a calendar source can be read, as the panel's dot and the settings show it.
class ProviderStatus
{
public:
    enum class Kind { connected, disconnected, permissionDenied, error };

    [[nodiscard]] static ProviderStatus connected() { return ProviderStatus(Kind::connected); }
    [[nodiscard]] static ProviderStatus disconnected() { return ProviderStatus(Kind::disconnected); }
    [[nodiscard]] static ProviderStatus permissionDenied() { return ProviderStatus(Kind::permissionDenied); }
    [[nodiscard]] static ProviderStatus error(QString message)
    {
        return ProviderStatus(Kind::error, std::move(message));
    }

    [[nodiscard]] Kind kind() const { return m_kind; }
    // Empty unless the kind is error.
    [[nodiscard]] const QString &message() const { return m_message; }

    friend bool operator==(const ProviderStatus &, const ProviderStatus &) = default;

private:
    explicit ProviderStatus(Kind kind, QString message = {}) : m_kind(kind), m_message(std::move(message)) { }

    Kind m_kind;
    QString m_message;
};

} // namespace bellwick
