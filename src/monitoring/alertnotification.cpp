#include "alertnotification.h"

#include "platform/diagnostics.h"
#include "ui/alertpresenter.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>

namespace bellwick {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString interface = QStringLiteral("org.freedesktop.Notifications");
const QString joinAction = QStringLiteral("join");
constexpr uint closedByUser = 2;

QDBusMessage call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return message;
}

void closeNotification(uint id)
{
    QDBusConnection::sessionBus().send(call(QStringLiteral("CloseNotification"), {id}));
}

} // namespace

AlertNotification::AlertNotification(AlertPresenter &presenter, QObject *parent)
    : QObject(parent), m_presenter(presenter)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, interface, QStringLiteral("ActionInvoked"), this, SLOT(actionInvoked(uint, QString)));
    bus.connect(service, path, interface, QStringLiteral("NotificationClosed"), this, SLOT(closed(uint, uint)));

    const QStringList actions = presenter.showsJoinButton() ? QStringList{joinAction, tr("Join")} : QStringList{};
    // Critical: a meeting alert stays until it is answered.
    const QVariantMap hints{{QStringLiteral("urgency"), QVariant::fromValue(uchar{2})}};
    const QDBusMessage notify =
        call(QStringLiteral("Notify"), {QStringLiteral("Bellwick"), 0U, QStringLiteral("appointment-soon"),
                                        presenter.title(), presenter.startTimeText(), actions, hints, 0});
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(notify));
    // The reply may come after this notification went; then it is closed at once.
    connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
            [self = QPointer(this)](QDBusPendingCallWatcher *call) {
                call->deleteLater();
                const QDBusPendingReply<uint> reply = *call;
                if (reply.isError()) {
                    diagnostic(QStringLiteral("The alert could not be shown as a desktop notification either: ")
                               + reply.error().message());
                } else if (self) {
                    self->m_id = reply.value();
                } else {
                    closeNotification(reply.value());
                }
            });
}

AlertNotification::~AlertNotification()
{
    if (m_id) {
        closeNotification(*m_id);
    }
}

void AlertNotification::actionInvoked(uint id, const QString &action)
{
    if (id == m_id && action == joinAction) {
        m_presenter.joinMeeting();
    }
}

void AlertNotification::closed(uint id, uint reason)
{
    if (id != m_id) {
        return;
    }
    m_id.reset();
    if (reason == closedByUser) {
        m_presenter.dismiss();
    }
}

} // namespace bellwick
