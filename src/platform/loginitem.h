#pragma once

#include "error.h"

namespace bellwick {

// Whether Bellwick starts with the user's desktop session.
class LoginItem
{
public:
    LoginItem() = default;
    virtual ~LoginItem() = default;
    LoginItem(const LoginItem &) = delete;
    LoginItem &operator=(const LoginItem &) = delete;

    // Registers or unregisters; throws LoginItemError when the system refuses.
    virtual void setEnabled(bool enabled) = 0;
};

class LoginItemError : public Error
{
public:
    explicit LoginItemError(QString reason) : m_reason(std::move(reason)) { }

    [[nodiscard]] QString errorDescription() const override { return m_reason; }
    [[nodiscard]] QString debugDescription() const override { return QStringLiteral("loginItem(") + m_reason + u')'; }

private:
    QString m_reason;
};

// The XDG autostart entry at $XDG_CONFIG_HOME/autostart/com.bellwick.Bellwick.desktop, named as the launcher.
class AutostartLoginItem : public LoginItem
{
public:
    // The installed bellwick when one is on the PATH, else the absolute path of the running binary.
    [[nodiscard]] static QString defaultProgram();
    [[nodiscard]] static QString entryPath();

    explicit AutostartLoginItem(QString program = defaultProgram());

    void setEnabled(bool enabled) override;

private:
    QString m_program;
};

} // namespace bellwick
