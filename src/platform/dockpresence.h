#pragma once

#include <QObject>

namespace bellwick {

// Whether Bellwick's windows show in the taskbar and task switcher, or only through the tray.
class DockPresence : public QObject
{
    Q_OBJECT

public:
    enum class Policy { regular, accessory };
    Q_ENUM(Policy)

    // Starts as accessory but applies nothing until asked.
    explicit DockPresence(QObject *parent = nullptr);

    [[nodiscard]] Policy policy() const;
    // Applies the policy to every top-level window now and to each window shown later.
    void setPolicy(Policy policy);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Policy m_policy = Policy::accessory;
};

} // namespace bellwick
