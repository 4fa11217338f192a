#include "alertmanager.h"

#include "alertnotification.h"
#include "alertwindow.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "ui/alertpresenter.h"
#include "ui/iconprovider.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QScreen>

namespace bellwick {

namespace {

// Deleted from the event loop: a button's click handler may still be running inside the window.
template<typename T> void release(std::unique_ptr<T> &object)
{
    if (object) {
        object.release()->deleteLater();
    }
}

QScreen *screenAt(int index)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    return index > 0 && index < screens.size() ? screens.at(index) : QGuiApplication::primaryScreen();
}

} // namespace

AlertManager::AlertManager(Clock &clock, QObject *parent)
    : QObject(parent), m_clock(clock), m_qmlRelease(clock, [this] {
        release(m_view);
        release(m_engine);
    })
{ }

AlertManager::~AlertManager()
{
    dismissAlert();
    // After the windows it serves, which are deleted from the event loop too.
    release(m_view);
    release(m_engine);
}

void AlertManager::showAlert(const CalendarEvent &event, ActionHandler handler)
{
    if (m_currentEvent && m_currentEvent->id() == event.id()) {
        return;
    }
    if (m_isShowingAlert) {
        dismissAlert();
    }
    m_currentEvent = event;
    m_actionHandler = std::move(handler);
    m_isShowingAlert = true;
    m_closesAfterMinutes = autoDismissMinutes;
    Q_EMIT currentEventChanged();
    Q_EMIT isShowingAlertChanged();
    createAlertWindow(event);
    scheduleAutoDismiss();
}

void AlertManager::dismissAlert()
{
    m_autoDismissTimer.reset();
    m_notification.reset();
    if (m_window) {
        m_window->hide();
    }
    release(m_window);
    release(m_presenter);
    if (m_engine) {
        m_qmlRelease.setInUse(false);
    }
    const bool changed = m_isShowingAlert;
    m_currentEvent.reset();
    m_isShowingAlert = false;
    m_actionHandler = nullptr;
    if (changed) {
        Q_EMIT currentEventChanged();
        Q_EMIT isShowingAlertChanged();
    }
}

void AlertManager::createAlertWindow(const CalendarEvent &event)
{
    QScreen *screen = screenAt(screenIndex);
    if (!screen) {
        diagnostic(QStringLiteral("No main screen available"));
        return;
    }
    m_presenter = std::make_unique<AlertPresenter>(event,
                                                   AlertPresenter::Appearance{
                                                       .colorScheme = colorScheme,
                                                       .snoozeStyle = snoozeStyle,
                                                       .backgroundOpacity = backgroundOpacity,
                                                       .showJoinButton = showJoinButton,
                                                       .showEventNotes = showEventNotes,
                                                       .snoozeMinutes = snoozeMinutes,
                                                   },
                                                   m_clock);
    // A stale click, queued before this alert went, must not end the next one.
    const QPointer<AlertPresenter> presenter = m_presenter.get();
    const auto ifCurrent = [this, presenter](AlertAction action) {
        if (presenter && presenter == m_presenter.get()) {
            finish(action);
        }
    };
    connect(
        presenter, &AlertPresenter::dismissRequested, this, [ifCurrent] { ifCurrent(AlertAction::dismiss()); },
        Qt::QueuedConnection);
    connect(
        presenter, &AlertPresenter::snoozeRequested, this,
        [ifCurrent](int minutes) { ifCurrent(AlertAction::snooze(minutes)); }, Qt::QueuedConnection);
    connect(
        presenter, &AlertPresenter::joinMeetingRequested, this, [ifCurrent] { ifCurrent(AlertAction::joinMeeting()); },
        Qt::QueuedConnection);

    m_qmlRelease.setInUse(true);
    QQuickItem *view = createView(presenter);
    if (!view) {
        // A window without its view would be an empty full screen that nothing closes.
        m_notification = std::make_unique<AlertNotification>(*presenter);
        return;
    }
    release(m_window);
    m_window = std::make_unique<AlertWindow>(engine(), screen, m_clock);
    m_window->setContent(viewSource, m_view.get(), view);
    m_window->present();
}

QQuickItem *AlertManager::createView(AlertPresenter *presenter)
{
    const auto printErrors = [this] {
        const QList<QQmlError> errors = m_view->errors();
        for (const QQmlError &error : errors) {
            diagnostic(error.toString());
        }
    };
    if (!m_view || m_view->url() != viewSource) {
        release(m_view);
        m_view = std::make_unique<QQmlComponent>(engine(), viewSource, QQmlComponent::PreferSynchronous);
        printErrors();
    }
    if (!m_view->isReady()) {
        return nullptr;
    }
    QObject *view = m_view->createWithInitialProperties(
        {{QStringLiteral("presenter"), QVariant::fromValue<QObject *>(presenter)}}, engine()->rootContext());
    if (auto *item = qobject_cast<QQuickItem *>(view)) {
        return item;
    }
    delete view;
    printErrors();
    return nullptr;
}

QQmlEngine *AlertManager::engine()
{
    if (!m_engine) {
        m_engine = std::make_unique<QQmlEngine>();
        m_engine->addImageProvider(QStringLiteral("icon"), new IconProvider);
    }
    return m_engine.get();
}

void AlertManager::scheduleAutoDismiss()
{
    if (!m_closesAfterMinutes) {
        return;
    }
    // Whole minutes, so six closes at 6:00 after the start; zero or less closes it at the start.
    const QDateTime &start = m_currentEvent->startDate();
    m_autoDismissTimer = m_clock.callAt(start.addSecs(60 * qint64(std::max(0, *m_closesAfterMinutes))), [this] {
        QMetaObject::invokeMethod(this, &AlertManager::autoDismiss, Qt::QueuedConnection);
    });
}

void AlertManager::autoDismiss()
{
    // Queued: the alert the timer was set for may have been answered meanwhile, and another come.
    if (m_autoDismissTimer && m_clock.now() >= m_autoDismissTimer->deadline()) {
        finish(AlertAction::dismiss());
    }
}

void AlertManager::finish(AlertAction action)
{
    const ActionHandler handler = std::move(m_actionHandler);
    dismissAlert();
    if (handler) {
        handler(action);
    }
}

} // namespace bellwick
