#pragma once

#include "alertaction.h"
#include "calendar/calendarevent.h"
#include "platform/idlerelease.h"
#include "preferences/preferencetypes.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class QQmlComponent;
class QQmlEngine;
class QQuickItem;

namespace bellwick {

class AlertNotification;
class AlertPresenter;
class AlertWindow;
class Clock;
class ClockTimer;

// Puts one meeting alert on screen at a time, takes it down again and reports how it ended, exactly once.
class AlertManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isShowingAlert READ isShowingAlert NOTIFY isShowingAlertChanged)

public:
    using ActionHandler = std::function<void(AlertAction)>;

    explicit AlertManager(Clock &clock, QObject *parent = nullptr);
    ~AlertManager() override;

    [[nodiscard]] const std::optional<CalendarEvent> &currentEvent() const { return m_currentEvent; }
    [[nodiscard]] bool isShowingAlert() const { return m_isShowingAlert; }
    // The window on screen and what it shows, if any.
    [[nodiscard]] AlertWindow *alertWindow() const { return m_window.get(); }
    [[nodiscard]] AlertPresenter *alertPresenter() const { return m_presenter.get(); }

    // Read only while the next alert is built.
    double backgroundOpacity = 0.9;
    AlertColorScheme colorScheme = AlertColorScheme::purple;
    SnoozeStyle snoozeStyle = SnoozeStyle::relative;
    bool showJoinButton = true;
    bool showEventNotes = false;
    // Whole minutes after the start at which an unanswered alert closes itself; none: it stays until answered.
    std::optional<int> autoDismissMinutes = 6;
    // 0 is the primary screen, k the (k+1)-th of the screen list; a screen that is not there means the primary one.
    int screenIndex = 0;
    // The choices of the relative snooze row, in minutes.
    QList<int> snoozeMinutes{1, 2, 5, 10, 15};
    // The alert's view; one that cannot be loaded is reported and the alert comes as a desktop notification.
    QUrl viewSource{QStringLiteral("qrc:/Bellwick/FullscreenAlertView.qml")};

    // An event already on screen keeps its alert and handler; any other alert is replaced without a report.
    void showAlert(const CalendarEvent &event, ActionHandler handler);
    // Takes the alert down without calling its handler.
    void dismissAlert();

Q_SIGNALS:
    void currentEventChanged();
    void isShowingAlertChanged();

private:
    void createAlertWindow(const CalendarEvent &event);
    void scheduleAutoDismiss();
    void autoDismiss();
    // Tears the alert down first, so a handler that shows another alert finds the manager idle.
    void finish(AlertAction action);
    QQmlEngine *engine();
    // Null when the view cannot be built; its errors are printed once.
    QQuickItem *createView(AlertPresenter *presenter);

    Clock &m_clock;
    std::optional<CalendarEvent> m_currentEvent;
    bool m_isShowingAlert = false;
    std::unique_ptr<AlertWindow> m_window;
    std::unique_ptr<AlertPresenter> m_presenter;
    std::unique_ptr<AlertNotification> m_notification;
    ActionHandler m_actionHandler;
    std::unique_ptr<ClockTimer> m_autoDismissTimer;
    // autoDismissMinutes as it was when the alert on screen was built.
    std::optional<int> m_closesAfterMinutes;
    // Created at the first alert and dropped a while after the last: an idle Bellwick carries no QML.
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QQmlComponent> m_view;
    IdleRelease m_qmlRelease;
};

} // namespace bellwick
