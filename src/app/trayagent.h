#pragma once

#include "platform/idlerelease.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <memory>

class QQmlEngine;

namespace bellwick {

class AppState;
class Clock;
class EdsCalendarProvider;
class MenuBarPresenter;
class PanelWindow;
class SettingsPresenter;
class SettingsWindow;

// Bellwick on the desktop: the tray icon, its menu, and the panel and settings window it opens.
class TrayAgent : public QObject
{
    Q_OBJECT

public:
    // The settings list the calendars of `systemCalendars`.
    TrayAgent(AppState &appState, Clock &clock, EdsCalendarProvider &systemCalendars, QObject *parent = nullptr);
    ~TrayAgent() override;

    // Shows the icon; says in one line when the desktop has no tray, where the panel then opens on a new launch.
    void show();

    // Beside the tray icon, or as an ordinary window when there is no tray.
    void showPanel();
    void togglePanel();
    void hidePanel();
    // In front, or raised when already open.
    void showSettings();

private:
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    QQmlEngine &engine();
    PanelWindow &panelWindow();
    // Lets the QML go once both windows have been closed for a while.
    void followWindows();

    AppState &m_appState;
    Clock &m_clock;
    EdsCalendarProvider &m_systemCalendars;
    QMenu m_menu;
    QSystemTrayIcon m_icon;
    // Outlives the windows, which call on it as they go.
    IdleRelease m_qmlRelease;
    // The windows and their engine are made on first use and dropped a while after both closed: an idle agent
    // carries no QML. The presenters stay.
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<MenuBarPresenter> m_presenter;
    std::unique_ptr<PanelWindow> m_panel;
    std::unique_ptr<SettingsPresenter> m_settingsPresenter;
    std::unique_ptr<SettingsWindow> m_settings;
};

} // namespace bellwick
