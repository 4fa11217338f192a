#pragma once

#include "app/apperror.h"
#include "app/providerstatus.h"
#include "calendar/calendarevent.h"
#include "calendar/outlook/outlookcalendarprovider.h"
#include "monitoring/alertaction.h"

#include <QCoroTask>
#include <QList>
#include <QMap>
#include <QObject>

#include <memory>
#include <optional>

namespace bellwick {

class AlertManager;
class CalendarProvider;
class Clock;
class EventMonitor;
class OutlookAuthService;
class PreferencesManager;
class SoundPlayer;
class UrlOpener;

// The key of the system calendar's entry in providerStatuses.
inline const QString systemCalendarStatusKey = QStringLiteral("EventKit");
// The key of the Microsoft 365 calendar's entry, there while it is turned on.
inline const QString outlookStatusKey = QStringLiteral("Outlook");

// The running application's state: it wires the calendars, the monitor and the alert together, turns the user's
// answer to an alert into its effect, and publishes what the panel shows.
class AppState : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<bellwick::CalendarEvent> upcomingEvents READ upcomingEvents NOTIFY upcomingEventsChanged)
    Q_PROPERTY(std::optional<bellwick::CalendarEvent> activeAlert READ activeAlert NOTIFY activeAlertChanged)
    Q_PROPERTY(
        QMap<QString, bellwick::ProviderStatus> providerStatuses READ providerStatuses NOTIFY providerStatusesChanged)
    Q_PROPERTY(std::optional<bellwick::AppError> lastError READ lastError NOTIFY lastErrorChanged)

public:
    // The first provider stands for the system calendar: its access decides the "EventKit" status. Every
    // reference must outlive this object. While `outlookEnabled` is on and someone is signed in, the Microsoft 365
    // calendar, reached at `outlookEndpoints`, follows the system calendar.
    AppState(Clock &clock, PreferencesManager &preferences, AlertManager &alertManager, EventMonitor &eventMonitor,
             QList<CalendarProvider *> calendarProviders, UrlOpener &urlOpener, SoundPlayer &soundPlayer,
             OutlookEndpoints outlookEndpoints = {}, QObject *parent = nullptr);
    ~AppState() override;

    // Asks for calendar access, fills the list once, starts monitoring, then handles a first launch.
    void start();

    [[nodiscard]] const QList<CalendarEvent> &upcomingEvents() const { return m_upcomingEvents; }
    [[nodiscard]] const std::optional<CalendarEvent> &activeAlert() const { return m_activeAlert; }
    [[nodiscard]] const QMap<QString, ProviderStatus> &providerStatuses() const { return m_providerStatuses; }
    [[nodiscard]] std::optional<ProviderStatus> systemCalendarStatus() const;
    [[nodiscard]] std::optional<ProviderStatus> outlookStatus() const;
    // The last failed refresh; a later success leaves it.
    [[nodiscard]] const std::optional<AppError> &lastError() const { return m_lastError; }

    [[nodiscard]] AlertManager &alertManager() const { return m_alertManager; }
    [[nodiscard]] PreferencesManager &preferences() const { return m_preferences; }
    // The Microsoft 365 session; made on first use, so that no one who never turns it on has their keyring read.
    [[nodiscard]] OutlookAuthService &outlookAuth();

    // Fetches every provider in turn and publishes the list; the first failure is kept in lastError instead.
    QCoro::Task<> refreshEvents();
    // Shows a due event's alert; the monitor calls it, queued. An alert already on screen for another event makes
    // way and waits until this one is answered.
    void presentAlert(const CalendarEvent &event);
    // Applies the user's answer to an event's alert, then brings back the alert that waits next, unless its event
    // has ended; the alert calls it, queued.
    void handleAlertAction(AlertAction action, const CalendarEvent &event);
    // The alerts that made way for another, soonest meeting first.
    [[nodiscard]] const QList<CalendarEvent> &queuedAlerts() const { return m_queuedAlerts; }

    // The sample meeting's alert exactly as a real one would come now, sound included; its answer is only printed,
    // and neither the monitor nor activeAlert learns of it.
    void showTestAlert();
    // Plays the chosen alert sound once.
    void previewSound();

    // The panel's and the tray menu's commands, and what a second launch asks for.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void showPanel();
    Q_INVOKABLE void showSettings();
    Q_INVOKABLE void quit();

Q_SIGNALS:
    void upcomingEventsChanged();
    void activeAlertChanged();
    void providerStatusesChanged();
    void lastErrorChanged();
    void panelRequested();
    // Whoever shows the settings answers this.
    void settingsRequested();

private:
    QCoro::Task<> run();
    QCoro::Task<> startUp();
    void setProviderStatus(const QString &key, const ProviderStatus &status);
    void show(const CalendarEvent &event);
    void prepareAlert();
    void showNextQueued();
    void setActiveAlert(std::optional<CalendarEvent> event);
    void applyCalendarPreferences();
    // Adds or removes the Microsoft 365 calendar as the preference and the session say, and sets its status.
    void updateOutlook();
    void setCalendarProviders(QList<CalendarProvider *> providers);
    [[nodiscard]] bool isListed(const QString &providerID) const;

    Clock &m_clock;
    PreferencesManager &m_preferences;
    AlertManager &m_alertManager;
    EventMonitor &m_eventMonitor;
    QList<CalendarProvider *> m_calendarProviders;
    UrlOpener &m_urlOpener;
    SoundPlayer &m_soundPlayer;
    QList<CalendarEvent> m_upcomingEvents;
    std::optional<CalendarEvent> m_activeAlert;
    QList<CalendarEvent> m_queuedAlerts;
    QMap<QString, ProviderStatus> m_providerStatuses;
    std::optional<AppError> m_lastError;
    // From the answer to the access request on, a change of the calendars is fetched at once.
    bool m_started = false;
    OutlookEndpoints m_outlookEndpoints;
    std::unique_ptr<OutlookAuthService> m_outlookAuth;
    // Kept once made: a fetch may still be running when it leaves the list.
    std::unique_ptr<OutlookCalendarProvider> m_outlookProvider;
};

} // namespace bellwick
