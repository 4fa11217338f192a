#include "alertmanager.h"

#include "alertwindow.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "ui/alertpresenter.h"
#include "ui/iconprovider.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlEngine>
#include <QScreen>

#include <cmath>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

// Whole minutes since the start after which an unanswered alert closes by itself.
constexpr double autoCloseAfterMinutes = 5;

// Deleted from the event loop: a button's click handler may still be running inside the window.
template<typename T> void release(std::unique_ptr<T> &object)
{
    if (object) {
        object.release()->deleteLater();
    }
}

} // namespace

AlertManager::AlertManager(Clock &clock, QObject *parent) : QObject(parent), m_clock(clock) { }

AlertManager::~AlertManager()
{
    dismissAlert();
    // After the windows it serves, which are deleted from the event loop too.
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
    Q_EMIT currentEventChanged();
    Q_EMIT isShowingAlertChanged();
    createAlertWindow(event);
    startCountdown();
}

void AlertManager::dismissAlert()
{
    m_countdownTimer.reset();
    if (m_window) {
        m_window->hide();
    }
    release(m_window);
    release(m_presenter);
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
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen) {
        diagnostic(QStringLiteral("No main screen available"));
        return;
    }
    m_presenter = std::make_unique<AlertPresenter>(event,
                                                   AlertPresenter::Appearance{.colorScheme = colorScheme,
                                                                              .snoozeStyle = snoozeStyle,
                                                                              .backgroundOpacity = backgroundOpacity},
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

    release(m_window);
    m_window = std::make_unique<AlertWindow>(engine(), screen);
    m_window->setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue<QObject *>(presenter)}});
    m_window->setSource(QUrl(QStringLiteral("qrc:/Bellwick/FullscreenAlertView.qml")));
    m_window->present();
}

QQmlEngine *AlertManager::engine()
{
    if (!m_engine) {
        m_engine = std::make_unique<QQmlEngine>();
        m_engine->addImageProvider(QStringLiteral("icon"), new IconProvider);
    }
    return m_engine.get();
}

void AlertManager::startCountdown()
{
    m_countdownTimer = m_clock.callEvery(
        1s, [this] { QMetaObject::invokeMethod(this, &AlertManager::countdownTick, Qt::QueuedConnection); });
}

void AlertManager::countdownTick()
{
    if (!m_currentEvent) {
        return;
    }
    const QDateTime now = m_clock.now();
    const QDateTime &start = m_currentEvent->startDate();
    if (now < start) {
        Q_EMIT ticked();
        return;
    }
    const double minutesUntilStart = std::trunc(static_cast<double>(now.msecsTo(start)) / 60'000.0);
    if (minutesUntilStart < -autoCloseAfterMinutes) {
        finish(AlertAction::dismiss());
        return;
    }
    Q_EMIT ticked();
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
