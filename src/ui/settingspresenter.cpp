#include "settingspresenter.h"

#include "app/appstate.h"
#include "calendar/outlook/outlookauthservice.h"
#include "platform/onlineaccounts.h"
#include "platform/soundplayer.h"
#include "preferences/preferencesmanager.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace bellwick {

namespace {

// Plural texts write %n for counts from 0 up to the int range; other counts only come from a hand-edited file.
int pluralCount(qint64 value)
{
    return static_cast<int>(std::clamp<qint64>(value, 0, std::numeric_limits<int>::max()));
}

QString minutesText(const qint64 &minutes)
{
    return SettingsPresenter::tr("%n minute(s)", nullptr, pluralCount(minutes));
}

QString secondsText(const qint64 &seconds)
{
    return seconds % 60 == 0 && seconds > 0 ? minutesText(seconds / 60)
                                            : SettingsPresenter::tr("%n second(s)", nullptr, pluralCount(seconds));
}

QString durationText(const qint64 &minutes)
{
    return minutes == 0 ? SettingsPresenter::tr("All meetings")
                        : SettingsPresenter::tr("%n+ minute(s)", nullptr, pluralCount(minutes));
}

QString snoozeStyleText(const SnoozeStyle &style)
{
    return style == SnoozeStyle::absolute ? SettingsPresenter::tr("Remind me at...")
                                          : SettingsPresenter::tr("Remind me in...");
}

QString nameText(const QString &name)
{
    return name;
}

// One option per value, labelled as a stored value that no option carries is described.
template<typename T> QList<PickerOption> optionsOf(const auto &values, QString (*label)(const T &))
{
    QList<PickerOption> options;
    for (const auto &value : values) {
        const T typed(value);
        options.append({label(typed), QVariant::fromValue(typed)});
    }
    return options;
}

QList<PickerOption> colorSchemeOptions()
{
    QList<PickerOption> options;
    for (const AlertColorScheme scheme : allAlertColorSchemes) {
        const auto [start, end] = gradientColors(scheme);
        options.append({displayName(scheme),
                        QVariant::fromValue(scheme),
                        {{QStringLiteral("gradientStart"), start}, {QStringLiteral("gradientEnd"), end}}});
    }
    return options;
}

} // namespace

StatusLabel statusLabel(const std::optional<ProviderStatus> &status)
{
    const StatusLabel disconnected{SettingsPresenter::tr("Disconnected"), QStringLiteral("network-offline"),
                                   PanelColor::secondary};
    if (!status) {
        return disconnected;
    }
    switch (status->kind()) {
    case ProviderStatus::Kind::connected:
        return {SettingsPresenter::tr("Connected"), QStringLiteral("emblem-default"), PanelColor::green};
    case ProviderStatus::Kind::disconnected:
        return disconnected;
    case ProviderStatus::Kind::permissionDenied:
        return {SettingsPresenter::tr("Permission Denied"), QStringLiteral("dialog-warning"), PanelColor::red};
    case ProviderStatus::Kind::error:
        break;
    }
    return {status->message(), QStringLiteral("dialog-error"), PanelColor::orange};
}

QString opacityPercentText(double opacity)
{
    // A hair of tolerance, so 0.29 (stored as 0.28999...) reads as 29%.
    return SettingsPresenter::tr("%1%").arg(static_cast<qint64>(std::floor(opacity * 100 + 1e-9)));
}

QList<PickerOption> displayOptions(const QStringList &otherScreenNames)
{
    QList<PickerOption> options{{SettingsPresenter::tr("Main Display"), QVariant::fromValue(qint64(0))}};
    for (qsizetype i = 0; i < otherScreenNames.size(); ++i) {
        options.append({SettingsPresenter::tr("Display %1: %2").arg(i + 2).arg(otherScreenNames.at(i)),
                        QVariant::fromValue(qint64(i + 1))});
    }
    return options;
}

QUrl websiteLink(const QString &address)
{
    const QUrl url(address, QUrl::StrictMode);
    const bool web = url.scheme() == u"https" || url.scheme() == u"http";
    return url.isValid() && web && !url.host().isEmpty() ? url : QUrl();
}

template<typename T, typename Setter>
OptionPicker *SettingsPresenter::picker(QList<PickerOption> options, T (PreferencesManager::*read)() const,
                                        Setter write, void (PreferencesManager::*changed)(),
                                        std::function<QString(const T &)> describe)
{
    auto *picker = new OptionPicker(
        std::move(options), [this, read] { return QVariant::fromValue((m_preferences.*read)()); },
        [this, write](const QVariant &value) { (m_preferences.*write)(value.value<T>()); },
        [describe = std::move(describe)](const QVariant &value) { return describe(value.value<T>()); }, this);
    connect(&m_preferences, changed, picker, &OptionPicker::update);
    return picker;
}

SettingsPresenter::SettingsPresenter(AppState &appState, EdsCalendarProvider &systemCalendars, QObject *parent)
    : QObject(parent)
    , m_appState(appState)
    , m_preferences(appState.preferences())
    , m_outlookAuth(appState.outlookAuth())
    , m_calendars(m_preferences, systemCalendars)
    , m_refreshInterval(picker<qint64>(optionsOf<qint64>(std::array{10, 30, 60, 120, 300}, secondsText),
                                       &PreferencesManager::pollingIntervalSeconds,
                                       &PreferencesManager::setPollingIntervalSeconds,
                                       &PreferencesManager::pollingIntervalSecondsChanged, secondsText))
    , m_minimumDuration(picker<qint64>(optionsOf<qint64>(std::array{0, 5, 10, 15, 30}, durationText),
                                       &PreferencesManager::minimumMeetingDuration,
                                       &PreferencesManager::setMinimumMeetingDuration,
                                       &PreferencesManager::minimumMeetingDurationChanged, durationText))
    , m_alertLead(picker<qint64>(optionsOf<qint64>(std::array{1, 2, 3, 5, 10, 15}, minutesText),
                                 &PreferencesManager::alertMinutesBefore, &PreferencesManager::setAlertMinutesBefore,
                                 &PreferencesManager::alertMinutesBeforeChanged, minutesText))
    , m_alertSound(picker<QString>(optionsOf<QString>(alertSoundNames, nameText), &PreferencesManager::soundName,
                                   &PreferencesManager::setSoundName, &PreferencesManager::soundNameChanged, nameText))
    , m_defaultSnooze(picker<qint64>(optionsOf<qint64>(std::array{1, 2, 5, 10, 15, 30}, minutesText),
                                     &PreferencesManager::defaultSnoozeDuration,
                                     &PreferencesManager::setDefaultSnoozeDuration,
                                     &PreferencesManager::defaultSnoozeDurationChanged, minutesText))
    , m_snoozeStyle(picker<SnoozeStyle>(optionsOf<SnoozeStyle>(allSnoozeStyles, snoozeStyleText),
                                        &PreferencesManager::snoozeStyle, &PreferencesManager::setSnoozeStyle,
                                        &PreferencesManager::snoozeStyleChanged, snoozeStyleText))
    , m_dismissAfter(picker<qint64>(optionsOf<qint64>(std::array{1, 2, 5, 10}, minutesText),
                                    &PreferencesManager::autoDismissMinutes, &PreferencesManager::setAutoDismissMinutes,
                                    &PreferencesManager::autoDismissMinutesChanged, minutesText))
    , m_display(picker<qint64>(displayOptions({}), &PreferencesManager::screenToUse,
                               &PreferencesManager::setScreenToUse, &PreferencesManager::screenToUseChanged,
                               [](const qint64 &index) { return tr("Display %1 (not connected)").arg(index + 1); }))
    , m_colorScheme(picker<AlertColorScheme>(colorSchemeOptions(), &PreferencesManager::alertColorScheme,
                                             &PreferencesManager::setAlertColorScheme,
                                             &PreferencesManager::alertColorSchemeChanged,
                                             [](const AlertColorScheme &scheme) { return displayName(scheme); }))
{
    connect(&m_appState, &AppState::providerStatusesChanged, this, &SettingsPresenter::statusChanged);
    connect(&m_preferences, &PreferencesManager::alertOpacityChanged, this, &SettingsPresenter::opacityTextChanged);
    for (const auto changed :
         {&OutlookAuthService::isAuthenticatedChanged, &OutlookAuthService::isAuthenticatingChanged,
          &OutlookAuthService::userEmailChanged, &OutlookAuthService::errorChanged}) {
        connect(&m_outlookAuth, changed, this, &SettingsPresenter::outlookAccountChanged);
    }
    connect(&m_appState, &AppState::providerStatusesChanged, this, &SettingsPresenter::outlookAccountChanged);
    loadScreens();
}

SettingsPresenter::~SettingsPresenter() = default;

StatusLabel SettingsPresenter::status() const
{
    return statusLabel(m_appState.systemCalendarStatus());
}

bool SettingsPresenter::permissionDenied() const
{
    const std::optional<ProviderStatus> status = m_appState.systemCalendarStatus();
    return status && status->kind() == ProviderStatus::Kind::permissionDenied;
}

StatusLabel SettingsPresenter::outlookStatus() const
{
    return statusLabel(m_appState.outlookStatus());
}

QString SettingsPresenter::outlookAccountText() const
{
    if (m_outlookAuth.isAuthenticating()) {
        return tr("Waiting for the browser…");
    }
    if (!m_outlookAuth.isAuthenticated()) {
        return tr("Not signed in");
    }
    return m_outlookAuth.userEmail().value_or(tr("Signed in"));
}

bool SettingsPresenter::outlookSignedIn() const
{
    return m_outlookAuth.isAuthenticated();
}

bool SettingsPresenter::outlookSigningIn() const
{
    return m_outlookAuth.isAuthenticating();
}

QString SettingsPresenter::outlookErrorText() const
{
    const std::optional<AuthError> &error = m_outlookAuth.error();
    const QString text = error ? error->errorDescription() : QString();
    return text == outlookStatusText() ? QString() : text;
}

QString SettingsPresenter::opacityText() const
{
    return opacityPercentText(m_preferences.alertOpacity());
}

QString SettingsPresenter::versionText()
{
    return tr("Version %1").arg(QStringLiteral(BELLWICK_VERSION));
}

QUrl SettingsPresenter::website()
{
    return websiteLink(QStringLiteral(BELLWICK_WEBSITE));
}

void SettingsPresenter::loadScreens()
{
    QStringList others;
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (qsizetype i = 1; i < screens.size(); ++i) {
        const QString model = screens.at(i)->model();
        others << (model.isEmpty() ? screens.at(i)->name() : model);
    }
    m_display->setOptions(displayOptions(others));
}

void SettingsPresenter::setOpacity(double opacity)
{
    m_preferences.setAlertOpacity(std::round(opacity * 100) / 100);
}

void SettingsPresenter::previewSound()
{
    m_appState.previewSound();
}

void SettingsPresenter::showTestAlert()
{
    m_appState.showTestAlert();
}

void SettingsPresenter::openSystemSettings()
{
    openOnlineAccountsSettings();
}

void SettingsPresenter::resetToDefaults()
{
    m_preferences.resetToDefaults();
}

void SettingsPresenter::signInToOutlook()
{
    // Runs on by itself; the published state tells how it went.
    (void)signIn();
}

QCoro::Task<> SettingsPresenter::signIn()
{
    // The preferences outlive this presenter, which may go while the browser is open.
    PreferencesManager &preferences = m_preferences;
    if (co_await m_outlookAuth.signIn()) {
        preferences.setOutlookEnabled(true);
    }
}

void SettingsPresenter::cancelOutlookSignIn()
{
    m_outlookAuth.cancelSignIn();
}

void SettingsPresenter::signOutOfOutlook()
{
    (void)m_outlookAuth.signOut();
}

} // namespace bellwick
