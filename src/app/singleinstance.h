#pragma once

#include <QDBusConnection>
#include <QObject>

namespace bellwick {

// Keeps Bellwick to one agent per session: the agent owns the bus name, and a second launch asks it for its panel
// instead of starting another.
class SingleInstance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.bellwick.Bellwick")

public:
    enum class Claim { owned, alreadyRunning, noBus };

    static inline const QString objectPath = QStringLiteral("/com/bellwick/Bellwick");

    explicit SingleInstance(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);
    ~SingleInstance() override;

    // Publishes the commands, then takes the name, so whoever finds the name can call them.
    [[nodiscard]] Claim claim();
    // Asks the agent that owns the name to show a window: "ShowPanel" or "ShowSettings". Empty on success, else
    // the reason.
    [[nodiscard]] QString askRunningAgent(const QString &method) const;

public Q_SLOTS:
    // Named as the bus calls them.
    Q_SCRIPTABLE void ShowPanel();
    Q_SCRIPTABLE void ShowSettings();

Q_SIGNALS:
    void panelRequested();
    void settingsRequested();

private:
    QDBusConnection m_bus;
    bool m_registered = false;
};

} // namespace bellwick
