#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>

namespace bellwick {

// Texts kept in the Secret Service keyring under one service name, one item per account. Nothing here fails: a
// keyring that cannot be reached reads as empty and loses what is written, with a diagnostic line that never
// carries a value.
class KeyringStore
{
public:
    explicit KeyringStore(QString service) : m_service(std::move(service)) { }

    // Nothing when the item is missing, unreadable or not UTF-8.
    [[nodiscard]] QCoro::Task<std::optional<QString>> read(QString account) const;
    [[nodiscard]] QCoro::Task<> write(QString account, QString value) const;
    [[nodiscard]] QCoro::Task<> remove(QString account) const;

private:
    QString m_service;
};

} // namespace bellwick
