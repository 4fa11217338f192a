#include "preferencesmanager.h"

#include "platform/diagnostics.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "userdefaults.h"

#include <algorithm>

namespace bellwick {

namespace {

const QList<qint64> standardSnoozeOptions{1, 5, 10, 15};
const QString glass = QStringLiteral("Glass");
constexpr qint64 standardAlertMinutes = 3;
constexpr qint64 standardPollingSeconds = 30;
constexpr qint64 standardSnoozeMinutes = 5;
constexpr qint64 standardAutoDismissMinutes = 5;
constexpr double standardOpacity = 0.95;

qint64 clampedAlertMinutes(qint64 minutes)
{
    return std::clamp<qint64>(minutes, 1, 15);
}

qint64 clampedPollingSeconds(qint64 seconds)
{
    return std::clamp<qint64>(seconds, 10, 300);
}

QVariantList integerList(const QList<qint64> &values)
{
    QVariantList list;
    for (const qint64 value : values) {
        list.append(QVariant::fromValue(value));
    }
    return list;
}

// The stored list, unless it is missing or holds anything but integers.
QList<qint64> snoozeOptions(const std::optional<QVariantList> &stored)
{
    if (!stored) {
        return standardSnoozeOptions;
    }
    QList<qint64> options;
    for (const QVariant &element : *stored) {
        const int type = element.metaType().id();
        if (type != QMetaType::LongLong && type != QMetaType::Int) {
            return standardSnoozeOptions;
        }
        options.append(element.toLongLong());
    }
    return options;
}

} // namespace

PreferencesManager::PreferencesManager(UserDefaults &defaults, LoginItem &loginItem, DockPresence &dockPresence,
                                       QObject *parent)
    : QObject(parent), m_defaults(defaults), m_loginItem(loginItem), m_dockPresence(dockPresence)
{
    m_defaults.registerDefaults({
        {QStringLiteral("alertMinutesBefore"), QVariant::fromValue(standardAlertMinutes)},
        {QStringLiteral("pollingIntervalSeconds"), QVariant::fromValue(standardPollingSeconds)},
        {QStringLiteral("defaultSnoozeDuration"), QVariant::fromValue(standardSnoozeMinutes)},
        {QStringLiteral("customSnoozeOptions"), integerList(standardSnoozeOptions)},
        {QStringLiteral("launchAtLogin"), false},
        {QStringLiteral("showInDock"), false},
        {QStringLiteral("playSound"), true},
        {QStringLiteral("soundName"), glass},
        {QStringLiteral("showJoinButton"), true},
        {QStringLiteral("autoDismissAfterStart"), true},
        {QStringLiteral("autoDismissMinutes"), QVariant::fromValue(standardAutoDismissMinutes)},
        {QStringLiteral("screenToUse"), QVariant::fromValue(qint64(0))},
        {QStringLiteral("alertOpacity"), standardOpacity},
        {QStringLiteral("showEventNotes"), false},
        {QStringLiteral("minimumMeetingDuration"), QVariant::fromValue(qint64(0))},
        {QStringLiteral("alertColorScheme"), rawValue(AlertColorScheme::purple)},
        {QStringLiteral("includeAllDayEvents"), false},
        {QStringLiteral("outlookEnabled"), false},
        {QStringLiteral("outlookClientID"), QString()},
        {QStringLiteral("hasBeenLaunched"), false},
        {QStringLiteral("snoozeStyle"), rawValue(SnoozeStyle::relative)},
    });

    m_alertMinutesBefore = m_defaults.integer(QStringLiteral("alertMinutesBefore"));
    m_pollingIntervalSeconds = m_defaults.integer(QStringLiteral("pollingIntervalSeconds"));
    m_launchAtLogin = m_defaults.boolean(QStringLiteral("launchAtLogin"));
    m_showInDock = m_defaults.boolean(QStringLiteral("showInDock"));
    m_playSound = m_defaults.boolean(QStringLiteral("playSound"));
    m_includeAllDayEvents = m_defaults.boolean(QStringLiteral("includeAllDayEvents"));
    m_outlookEnabled = m_defaults.boolean(QStringLiteral("outlookEnabled"));
    m_outlookClientID = m_defaults.string(QStringLiteral("outlookClientID")).value_or(QString());
    m_defaultSnoozeDuration = m_defaults.integer(QStringLiteral("defaultSnoozeDuration"));
    m_soundName = m_defaults.string(QStringLiteral("soundName")).value_or(glass);
    m_showJoinButton = m_defaults.boolean(QStringLiteral("showJoinButton"));
    m_autoDismissAfterStart = m_defaults.boolean(QStringLiteral("autoDismissAfterStart"));
    m_autoDismissMinutes = m_defaults.integer(QStringLiteral("autoDismissMinutes"));
    m_screenToUse = m_defaults.integer(QStringLiteral("screenToUse"));
    m_showEventNotes = m_defaults.boolean(QStringLiteral("showEventNotes"));
    m_minimumMeetingDuration = m_defaults.integer(QStringLiteral("minimumMeetingDuration"));
    m_hasBeenLaunched = m_defaults.boolean(QStringLiteral("hasBeenLaunched"));
    m_snoozeStyle = snoozeStyleFromRawValue(m_defaults.string(QStringLiteral("snoozeStyle")).value_or(QString()))
                        .value_or(SnoozeStyle::relative);
    m_alertColorScheme =
        alertColorSchemeFromRawValue(m_defaults.string(QStringLiteral("alertColorScheme")).value_or(QString()))
            .value_or(AlertColorScheme::purple);
    const double opacity = m_defaults.real(QStringLiteral("alertOpacity"));
    m_alertOpacity = opacity == 0.0 ? standardOpacity : opacity;
    m_customSnoozeOptions = snoozeOptions(m_defaults.array(QStringLiteral("customSnoozeOptions")));

    // Unlike the others this one goes through its change step, which writes it back or removes the key.
    const std::optional<QStringList> calendars = m_defaults.stringArray(QStringLiteral("enabledCalendarIDs"));
    setEnabledCalendarIDs(calendars ? std::optional(QSet<QString>(calendars->begin(), calendars->end()))
                                    : std::nullopt);
}

template<typename T> void PreferencesManager::assign(T &field, const T &value, void (PreferencesManager::*changed)())
{
    if (field == value) {
        return;
    }
    field = value;
    Q_EMIT(this->*changed)();
}

void PreferencesManager::setAlertMinutesBefore(qint64 minutes)
{
    assign(m_alertMinutesBefore, minutes, &PreferencesManager::alertMinutesBeforeChanged);
    m_defaults.setValue(QStringLiteral("alertMinutesBefore"), QVariant::fromValue(clampedAlertMinutes(minutes)));
}

void PreferencesManager::setPollingIntervalSeconds(qint64 seconds)
{
    assign(m_pollingIntervalSeconds, seconds, &PreferencesManager::pollingIntervalSecondsChanged);
    m_defaults.setValue(QStringLiteral("pollingIntervalSeconds"), QVariant::fromValue(clampedPollingSeconds(seconds)));
}

std::chrono::seconds PreferencesManager::alertLeadTime() const
{
    return std::chrono::minutes(clampedAlertMinutes(m_alertMinutesBefore));
}

std::chrono::seconds PreferencesManager::pollingInterval() const
{
    return std::chrono::seconds(clampedPollingSeconds(m_pollingIntervalSeconds));
}

void PreferencesManager::setDefaultSnoozeDuration(qint64 minutes)
{
    assign(m_defaultSnoozeDuration, minutes, &PreferencesManager::defaultSnoozeDurationChanged);
    m_defaults.setValue(QStringLiteral("defaultSnoozeDuration"), QVariant::fromValue(minutes));
}

void PreferencesManager::setCustomSnoozeOptions(const QList<qint64> &minutes)
{
    assign(m_customSnoozeOptions, minutes, &PreferencesManager::customSnoozeOptionsChanged);
    m_defaults.setValue(QStringLiteral("customSnoozeOptions"), integerList(minutes));
}

void PreferencesManager::setLaunchAtLogin(bool enabled)
{
    assign(m_launchAtLogin, enabled, &PreferencesManager::launchAtLoginChanged);
    m_defaults.setValue(QStringLiteral("launchAtLogin"), enabled);
    updateLaunchAtLogin();
}

void PreferencesManager::updateLaunchAtLogin()
{
    try {
        m_loginItem.setEnabled(m_launchAtLogin);
    } catch (const std::exception &error) {
        diagnostic(QStringLiteral("Failed to update launch at login: ") + localizedDescription(error));
    }
}

void PreferencesManager::setShowInDock(bool shown)
{
    assign(m_showInDock, shown, &PreferencesManager::showInDockChanged);
    m_defaults.setValue(QStringLiteral("showInDock"), shown);
    // Queued: windows should not change their taskbar presence in the middle of the caller's event.
    QMetaObject::invokeMethod(
        &m_dockPresence,
        [dock = &m_dockPresence, shown] {
            dock->setPolicy(shown ? DockPresence::Policy::regular : DockPresence::Policy::accessory);
        },
        Qt::QueuedConnection);
}

void PreferencesManager::setPlaySound(bool enabled)
{
    assign(m_playSound, enabled, &PreferencesManager::playSoundChanged);
    m_defaults.setValue(QStringLiteral("playSound"), enabled);
}

void PreferencesManager::setSoundName(const QString &name)
{
    assign(m_soundName, name, &PreferencesManager::soundNameChanged);
    m_defaults.setValue(QStringLiteral("soundName"), name);
}

void PreferencesManager::setShowJoinButton(bool shown)
{
    assign(m_showJoinButton, shown, &PreferencesManager::showJoinButtonChanged);
    m_defaults.setValue(QStringLiteral("showJoinButton"), shown);
}

void PreferencesManager::setAutoDismissAfterStart(bool enabled)
{
    assign(m_autoDismissAfterStart, enabled, &PreferencesManager::autoDismissAfterStartChanged);
    m_defaults.setValue(QStringLiteral("autoDismissAfterStart"), enabled);
}

void PreferencesManager::setAutoDismissMinutes(qint64 minutes)
{
    assign(m_autoDismissMinutes, minutes, &PreferencesManager::autoDismissMinutesChanged);
    m_defaults.setValue(QStringLiteral("autoDismissMinutes"), QVariant::fromValue(minutes));
}

void PreferencesManager::setScreenToUse(qint64 index)
{
    assign(m_screenToUse, index, &PreferencesManager::screenToUseChanged);
    m_defaults.setValue(QStringLiteral("screenToUse"), QVariant::fromValue(index));
}

void PreferencesManager::setAlertOpacity(double opacity)
{
    assign(m_alertOpacity, opacity, &PreferencesManager::alertOpacityChanged);
    m_defaults.setValue(QStringLiteral("alertOpacity"), opacity);
}

void PreferencesManager::setShowEventNotes(bool shown)
{
    assign(m_showEventNotes, shown, &PreferencesManager::showEventNotesChanged);
    m_defaults.setValue(QStringLiteral("showEventNotes"), shown);
}

void PreferencesManager::setMinimumMeetingDuration(qint64 minutes)
{
    assign(m_minimumMeetingDuration, minutes, &PreferencesManager::minimumMeetingDurationChanged);
    m_defaults.setValue(QStringLiteral("minimumMeetingDuration"), QVariant::fromValue(minutes));
}

void PreferencesManager::setAlertColorScheme(AlertColorScheme scheme)
{
    assign(m_alertColorScheme, scheme, &PreferencesManager::alertColorSchemeChanged);
    m_defaults.setValue(QStringLiteral("alertColorScheme"), rawValue(scheme));
}

void PreferencesManager::setIncludeAllDayEvents(bool included)
{
    assign(m_includeAllDayEvents, included, &PreferencesManager::includeAllDayEventsChanged);
    m_defaults.setValue(QStringLiteral("includeAllDayEvents"), included);
}

void PreferencesManager::setEnabledCalendarIDs(const std::optional<QSet<QString>> &ids)
{
    assign(m_enabledCalendarIDs, ids, &PreferencesManager::enabledCalendarIDsChanged);
    if (!ids) {
        m_defaults.remove(QStringLiteral("enabledCalendarIDs"));
        return;
    }
    QStringList members(ids->begin(), ids->end());
    members.sort();
    m_defaults.setValue(QStringLiteral("enabledCalendarIDs"), members);
}

QVariant PreferencesManager::enabledCalendarIDsVariant() const
{
    if (!m_enabledCalendarIDs) {
        return {};
    }
    QStringList members(m_enabledCalendarIDs->begin(), m_enabledCalendarIDs->end());
    members.sort();
    return members;
}

void PreferencesManager::setEnabledCalendarIDsVariant(const QVariant &ids)
{
    if (ids.isNull()) {
        setEnabledCalendarIDs(std::nullopt);
        return;
    }
    const QStringList members = ids.toStringList();
    setEnabledCalendarIDs(QSet<QString>(members.begin(), members.end()));
}

void PreferencesManager::setOutlookEnabled(bool enabled)
{
    assign(m_outlookEnabled, enabled, &PreferencesManager::outlookEnabledChanged);
    m_defaults.setValue(QStringLiteral("outlookEnabled"), enabled);
}

void PreferencesManager::setOutlookClientID(const QString &clientID)
{
    assign(m_outlookClientID, clientID, &PreferencesManager::outlookClientIDChanged);
    m_defaults.setValue(QStringLiteral("outlookClientID"), clientID);
}

void PreferencesManager::setHasBeenLaunched(bool launched)
{
    assign(m_hasBeenLaunched, launched, &PreferencesManager::hasBeenLaunchedChanged);
    m_defaults.setValue(QStringLiteral("hasBeenLaunched"), launched);
}

void PreferencesManager::setSnoozeStyle(SnoozeStyle style)
{
    assign(m_snoozeStyle, style, &PreferencesManager::snoozeStyleChanged);
    m_defaults.setValue(QStringLiteral("snoozeStyle"), rawValue(style));
}

void PreferencesManager::resetToDefaults()
{
    setAlertMinutesBefore(standardAlertMinutes);
    setPollingIntervalSeconds(standardPollingSeconds);
    setLaunchAtLogin(false);
    setShowInDock(false);
    setPlaySound(true);
    setSoundName(glass);
    setIncludeAllDayEvents(false);
    setOutlookEnabled(false);
    setDefaultSnoozeDuration(standardSnoozeMinutes);
    setCustomSnoozeOptions(standardSnoozeOptions);
    setEnabledCalendarIDs(std::nullopt);
    setShowJoinButton(true);
    setAutoDismissAfterStart(true);
    setAutoDismissMinutes(standardAutoDismissMinutes);
    setScreenToUse(0);
    setAlertOpacity(standardOpacity);
    setShowEventNotes(false);
    setMinimumMeetingDuration(0);
}

} // namespace bellwick
