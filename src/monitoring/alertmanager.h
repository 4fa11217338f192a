#pragma once

#include "alertaction.h"
#include "calendar/calendarevent.h"
#include "preferences/preferencetypes.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

class QQmlEngine;

namespace bellwick {

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

    // An event already on screen keeps its alert and handler; any other alert is replaced without a report.
    void showAlert(const CalendarEvent &event, ActionHandler handler);
    // Takes the alert down without calling its handler.
    void dismissAlert();

Q_SIGNALS:
    void currentEventChanged();
    void isShowingAlertChanged();
    // Every second while an alert is up.
    void ticked();

private:
    void createAlertWindow(const CalendarEvent &event);
    void startCountdown();
    void countdownTick();
    // Tears the alert down first, so a handler that shows another alert finds the manager idle.
    void finish(AlertAction action);
    QQmlEngine *engine();

    Clock &m_clock;
    std::optional<CalendarEvent> m_currentEvent;
    bool m_isShowingAlert = false;
    std::unique_ptr<AlertWindow> m_window;
    std::unique_ptr<AlertPresenter> m_presenter;
    ActionHandler m_actionHandler;
    std::unique_ptr<ClockTimer> m_countdownTimer;
    // Created at the first alert: an idle Bellwick carries no QML.
    std::unique_ptr<QQmlEngine> m_engine;
};

} // namespace bellwick
