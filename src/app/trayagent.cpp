#include "trayagent.h"

#include "app/appstate.h"
#include "monitoring/alertmanager.h"
#include "platform/applicationid.h"
#include "platform/diagnostics.h"
#include "ui/iconprovider.h"
#include "ui/menubarpresenter.h"
#include "ui/panelwindow.h"
#include "ui/settingspresenter.h"
#include "ui/settingswindow.h"

#include <QCursor>
#include <QQmlEngine>

namespace bellwick {

namespace {

// Deleted from the event loop, after whatever a window is still delivering.
template<typename T> void release(std::unique_ptr<T> &object)
{
    if (object) {
        object.release()->deleteLater();
    }
}

} // namespace

TrayAgent::TrayAgent(AppState &appState, Clock &clock, EdsCalendarProvider &systemCalendars, QObject *parent)
    : QObject(parent)
    , m_appState(appState)
    , m_clock(clock)
    , m_systemCalendars(systemCalendars)
    , m_qmlRelease(clock, [this] {
        release(m_panel);
        release(m_settings);
        release(m_engine);
    })
{
    m_menu.addAction(QIcon::fromTheme(QStringLiteral("view-refresh")), tr("Refresh events"), &m_appState,
                     &AppState::refresh);
    m_menu.addAction(QIcon::fromTheme(QStringLiteral("preferences-system")), tr("Settings..."), &m_appState,
                     &AppState::showSettings);
    m_menu.addSeparator();
    m_menu.addAction(QIcon::fromTheme(QStringLiteral("system-shutdown")), tr("Quit"), &m_appState, &AppState::quit);

    m_icon.setIcon(applicationIcon(QStringLiteral("-symbolic")));
    m_icon.setToolTip(QStringLiteral("Bellwick"));
    m_icon.setContextMenu(&m_menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this, &TrayAgent::onActivated);

    connect(&m_appState, &AppState::panelRequested, this, &TrayAgent::showPanel);
    connect(&m_appState, &AppState::settingsRequested, this, [this] {
        hidePanel();
        showSettings();
    });
    connect(&m_appState.alertManager(), &AlertManager::isShowingAlertChanged, this, [this] {
        if (m_appState.alertManager().isShowingAlert()) {
            hidePanel();
        }
    });
}

TrayAgent::~TrayAgent() = default;

void TrayAgent::show()
{
    m_icon.show();
    // What start-up alone needed is given back as a closed window's is, once the agent has settled.
    followWindows();
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        diagnostic(QStringLiteral("No system tray found; launch Bellwick again to open its panel"));
    }
}

void TrayAgent::showPanel()
{
    PanelWindow &panel = panelWindow();
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        panel.showAsWindow();
        return;
    }
    // Hosts that speak StatusNotifierItem report no geometry for the icon.
    const QRect icon = m_icon.geometry();
    panel.popUp(icon.isEmpty() ? QRect(QCursor::pos(), QSize(1, 1)) : icon);
}

void TrayAgent::togglePanel()
{
    if (m_panel && m_panel->isVisible()) {
        hidePanel();
    } else {
        showPanel();
    }
}

void TrayAgent::hidePanel()
{
    if (m_panel) {
        m_panel->hide();
    }
}

void TrayAgent::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick) {
        togglePanel();
    }
}

void TrayAgent::showSettings()
{
    if (!m_settingsPresenter) {
        m_settingsPresenter = std::make_unique<SettingsPresenter>(m_appState, m_systemCalendars);
    }
    if (!m_settings) {
        m_settings = std::make_unique<SettingsWindow>(&engine(), m_settingsPresenter.get());
        connect(m_settings.get(), &QWindow::visibleChanged, this, &TrayAgent::followWindows);
    }
    m_settings->open();
}

QQmlEngine &TrayAgent::engine()
{
    if (!m_engine) {
        m_engine = std::make_unique<QQmlEngine>();
        m_engine->addImageProvider(QStringLiteral("icon"), new IconProvider);
    }
    return *m_engine;
}

PanelWindow &TrayAgent::panelWindow()
{
    if (!m_presenter) {
        m_presenter = std::make_unique<MenuBarPresenter>(m_appState, m_clock);
    }
    if (!m_panel) {
        m_panel = std::make_unique<PanelWindow>(&engine(), m_presenter.get());
        connect(m_panel.get(), &QWindow::visibleChanged, this, [this](bool visible) {
            m_presenter->setLive(visible);
            // The list is only as fresh as its last fetch; opening the panel is when the user wants it current.
            if (visible) {
                m_appState.refresh();
            }
            followWindows();
        });
    }
    return *m_panel;
}

void TrayAgent::followWindows()
{
    m_qmlRelease.setInUse((m_panel && m_panel->isVisible()) || (m_settings && m_settings->isVisible()));
}

} // namespace bellwick
