#include "singleinstance.h"

#include "platform/applicationid.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace bellwick {

namespace {

// A running agent answers at once; one that does not within this is stuck.
constexpr int answerTimeoutMs = 5000;

} // namespace

SingleInstance::SingleInstance(QDBusConnection bus, QObject *parent) : QObject(parent), m_bus(std::move(bus)) { }

SingleInstance::~SingleInstance()
{
    if (m_registered) {
        m_bus.unregisterObject(objectPath);
    }
}

SingleInstance::Claim SingleInstance::claim()
{
    if (!m_bus.isConnected()) {
        return Claim::noBus;
    }
    m_registered = m_bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableSlots);
    if (!m_registered) {
        return Claim::noBus;
    }
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = m_bus.interface()->registerService(
        applicationId, QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        return Claim::owned;
    }
    m_bus.unregisterObject(objectPath);
    m_registered = false;
    return reply.isValid() ? Claim::alreadyRunning : Claim::noBus;
}

QString SingleInstance::askRunningAgent(const QString &method) const
{
    const QDBusMessage reply =
        m_bus.call(QDBusMessage::createMethodCall(applicationId, objectPath, applicationId, method), QDBus::Block,
                   answerTimeoutMs);
    return reply.type() == QDBusMessage::ErrorMessage ? reply.errorMessage() : QString();
}

void SingleInstance::ShowPanel()
{
    Q_EMIT panelRequested();
}

void SingleInstance::ShowSettings()
{
    Q_EMIT settingsRequested();
}

} // namespace bellwick
