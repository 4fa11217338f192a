#pragma once

#include "preferencetypes.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QVariant>

#include <chrono>
#include <optional>

namespace bellwick {

class DockPresence;
class LoginItem;
class UserDefaults;

// The user's settings: each one an observable property, saved under its own name the moment it changes.
class PreferencesManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        qint64 alertMinutesBefore READ alertMinutesBefore WRITE setAlertMinutesBefore NOTIFY alertMinutesBeforeChanged)
    Q_PROPERTY(qint64 pollingIntervalSeconds READ pollingIntervalSeconds WRITE setPollingIntervalSeconds NOTIFY
                   pollingIntervalSecondsChanged)
    Q_PROPERTY(qint64 defaultSnoozeDuration READ defaultSnoozeDuration WRITE setDefaultSnoozeDuration NOTIFY
                   defaultSnoozeDurationChanged)
    Q_PROPERTY(QList<qint64> customSnoozeOptions READ customSnoozeOptions WRITE setCustomSnoozeOptions NOTIFY
                   customSnoozeOptionsChanged)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(bool showInDock READ showInDock WRITE setShowInDock NOTIFY showInDockChanged)
    Q_PROPERTY(bool playSound READ playSound WRITE setPlaySound NOTIFY playSoundChanged)
    Q_PROPERTY(QString soundName READ soundName WRITE setSoundName NOTIFY soundNameChanged)
    Q_PROPERTY(bool showJoinButton READ showJoinButton WRITE setShowJoinButton NOTIFY showJoinButtonChanged)
    Q_PROPERTY(bool autoDismissAfterStart READ autoDismissAfterStart WRITE setAutoDismissAfterStart NOTIFY
                   autoDismissAfterStartChanged)
    Q_PROPERTY(
        qint64 autoDismissMinutes READ autoDismissMinutes WRITE setAutoDismissMinutes NOTIFY autoDismissMinutesChanged)
    Q_PROPERTY(qint64 screenToUse READ screenToUse WRITE setScreenToUse NOTIFY screenToUseChanged)
    Q_PROPERTY(double alertOpacity READ alertOpacity WRITE setAlertOpacity NOTIFY alertOpacityChanged)
    Q_PROPERTY(bool showEventNotes READ showEventNotes WRITE setShowEventNotes NOTIFY showEventNotesChanged)
    Q_PROPERTY(qint64 minimumMeetingDuration READ minimumMeetingDuration WRITE setMinimumMeetingDuration NOTIFY
                   minimumMeetingDurationChanged)
    Q_PROPERTY(bellwick::AlertColorScheme alertColorScheme READ alertColorScheme WRITE setAlertColorScheme NOTIFY
                   alertColorSchemeChanged)
    Q_PROPERTY(bool includeAllDayEvents READ includeAllDayEvents WRITE setIncludeAllDayEvents NOTIFY
                   includeAllDayEventsChanged)
    // A list of calendar ids, or null when no selection was ever made.
    Q_PROPERTY(QVariant enabledCalendarIDs READ enabledCalendarIDsVariant WRITE setEnabledCalendarIDsVariant NOTIFY
                   enabledCalendarIDsChanged)
    Q_PROPERTY(bool outlookEnabled READ outlookEnabled WRITE setOutlookEnabled NOTIFY outlookEnabledChanged)
    Q_PROPERTY(QString outlookClientID READ outlookClientID WRITE setOutlookClientID NOTIFY outlookClientIDChanged)
    Q_PROPERTY(bool hasBeenLaunched READ hasBeenLaunched WRITE setHasBeenLaunched NOTIFY hasBeenLaunchedChanged)
    Q_PROPERTY(bellwick::SnoozeStyle snoozeStyle READ snoozeStyle WRITE setSnoozeStyle NOTIFY snoozeStyleChanged)

public:
    // Registers the defaults and reads every setting; nothing is written and no side effect runs.
    PreferencesManager(UserDefaults &defaults, LoginItem &loginItem, DockPresence &dockPresence,
                       QObject *parent = nullptr);

    [[nodiscard]] qint64 alertMinutesBefore() const { return m_alertMinutesBefore; }
    [[nodiscard]] qint64 pollingIntervalSeconds() const { return m_pollingIntervalSeconds; }
    [[nodiscard]] qint64 defaultSnoozeDuration() const { return m_defaultSnoozeDuration; }
    [[nodiscard]] QList<qint64> customSnoozeOptions() const { return m_customSnoozeOptions; }
    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }
    [[nodiscard]] bool showInDock() const { return m_showInDock; }
    [[nodiscard]] bool playSound() const { return m_playSound; }
    [[nodiscard]] QString soundName() const { return m_soundName; }
    [[nodiscard]] bool showJoinButton() const { return m_showJoinButton; }
    [[nodiscard]] bool autoDismissAfterStart() const { return m_autoDismissAfterStart; }
    [[nodiscard]] qint64 autoDismissMinutes() const { return m_autoDismissMinutes; }
    [[nodiscard]] qint64 screenToUse() const { return m_screenToUse; }
    [[nodiscard]] double alertOpacity() const { return m_alertOpacity; }
    [[nodiscard]] bool showEventNotes() const { return m_showEventNotes; }
    [[nodiscard]] qint64 minimumMeetingDuration() const { return m_minimumMeetingDuration; }
    [[nodiscard]] AlertColorScheme alertColorScheme() const { return m_alertColorScheme; }
    [[nodiscard]] bool includeAllDayEvents() const { return m_includeAllDayEvents; }
    [[nodiscard]] const std::optional<QSet<QString>> &enabledCalendarIDs() const { return m_enabledCalendarIDs; }
    [[nodiscard]] bool outlookEnabled() const { return m_outlookEnabled; }
    // The application (client) ID of the Microsoft Entra registration that Outlook sign-in uses.
    [[nodiscard]] QString outlookClientID() const { return m_outlookClientID; }
    [[nodiscard]] bool hasBeenLaunched() const { return m_hasBeenLaunched; }
    [[nodiscard]] SnoozeStyle snoozeStyle() const { return m_snoozeStyle; }

    // The two settings the monitor times itself by, held to the ranges the settings window offers whatever the file
    // holds: 1 to 15 minutes, 10 to 300 seconds.
    [[nodiscard]] std::chrono::seconds alertLeadTime() const;
    [[nodiscard]] std::chrono::seconds pollingInterval() const;

    // Every assignment keeps the value given in memory and then saves it (the two clamped settings save the
    // clamped value), even when it equals the current one.
    void setAlertMinutesBefore(qint64 minutes);
    void setPollingIntervalSeconds(qint64 seconds);
    void setDefaultSnoozeDuration(qint64 minutes);
    void setCustomSnoozeOptions(const QList<qint64> &minutes);
    void setLaunchAtLogin(bool enabled);
    void setShowInDock(bool shown);
    void setPlaySound(bool enabled);
    void setSoundName(const QString &name);
    void setShowJoinButton(bool shown);
    void setAutoDismissAfterStart(bool enabled);
    void setAutoDismissMinutes(qint64 minutes);
    void setScreenToUse(qint64 index);
    void setAlertOpacity(double opacity);
    void setShowEventNotes(bool shown);
    void setMinimumMeetingDuration(qint64 minutes);
    void setAlertColorScheme(AlertColorScheme scheme);
    void setIncludeAllDayEvents(bool included);
    void setEnabledCalendarIDs(const std::optional<QSet<QString>> &ids);
    void setOutlookEnabled(bool enabled);
    void setOutlookClientID(const QString &clientID);
    void setHasBeenLaunched(bool launched);
    void setSnoozeStyle(SnoozeStyle style);

    // Restores every setting but the colour scheme, the snooze style, the first-launch marker and the Outlook
    // client ID, which the stored Outlook session was issued to.
    Q_INVOKABLE void resetToDefaults();

Q_SIGNALS:
    void alertMinutesBeforeChanged();
    void pollingIntervalSecondsChanged();
    void defaultSnoozeDurationChanged();
    void customSnoozeOptionsChanged();
    void launchAtLoginChanged();
    void showInDockChanged();
    void playSoundChanged();
    void soundNameChanged();
    void showJoinButtonChanged();
    void autoDismissAfterStartChanged();
    void autoDismissMinutesChanged();
    void screenToUseChanged();
    void alertOpacityChanged();
    void showEventNotesChanged();
    void minimumMeetingDurationChanged();
    void alertColorSchemeChanged();
    void includeAllDayEventsChanged();
    void enabledCalendarIDsChanged();
    void outlookEnabledChanged();
    void outlookClientIDChanged();
    void hasBeenLaunchedChanged();
    void snoozeStyleChanged();

private:
    [[nodiscard]] QVariant enabledCalendarIDsVariant() const;
    void setEnabledCalendarIDsVariant(const QVariant &ids);

    template<typename T> void assign(T &field, const T &value, void (PreferencesManager::*changed)());
    void updateLaunchAtLogin();

    UserDefaults &m_defaults;
    LoginItem &m_loginItem;
    DockPresence &m_dockPresence;

    qint64 m_alertMinutesBefore = 0;
    qint64 m_pollingIntervalSeconds = 0;
    qint64 m_defaultSnoozeDuration = 0;
    QList<qint64> m_customSnoozeOptions;
    bool m_launchAtLogin = false;
    bool m_showInDock = false;
    bool m_playSound = false;
    QString m_soundName;
    bool m_showJoinButton = false;
    bool m_autoDismissAfterStart = false;
    qint64 m_autoDismissMinutes = 0;
    qint64 m_screenToUse = 0;
    double m_alertOpacity = 0;
    bool m_showEventNotes = false;
    qint64 m_minimumMeetingDuration = 0;
    AlertColorScheme m_alertColorScheme = AlertColorScheme::purple;
    bool m_includeAllDayEvents = false;
    std::optional<QSet<QString>> m_enabledCalendarIDs;
    bool m_outlookEnabled = false;
    QString m_outlookClientID;
    bool m_hasBeenLaunched = false;
    SnoozeStyle m_snoozeStyle = SnoozeStyle::relative;
};

} // namespace bellwick
