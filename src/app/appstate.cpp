#include "appstate.h"

#include "app/testalert.h"
#include "calendar/calendarprovider.h"
#include "calendar/outlook/outlookauthservice.h"
#include "monitoring/alertmanager.h"
#include "monitoring/eventmonitor.h"
#include "platform/clock.h"
#include "platform/soundplayer.h"
#include "platform/urlopener.h"
#include "preferences/preferencesmanager.h"

#include <QCoreApplication>
#include <QPointer>

#include <algorithm>

namespace bellwick {

AppState::AppState(Clock &clock, PreferencesManager &preferences, AlertManager &alertManager,
                   EventMonitor &eventMonitor, QList<CalendarProvider *> calendarProviders, UrlOpener &urlOpener,
                   SoundPlayer &soundPlayer, OutlookEndpoints outlookEndpoints, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_preferences(preferences)
    , m_alertManager(alertManager)
    , m_eventMonitor(eventMonitor)
    , m_calendarProviders(std::move(calendarProviders))
    , m_urlOpener(urlOpener)
    , m_soundPlayer(soundPlayer)
    , m_outlookEndpoints(std::move(outlookEndpoints))
{
    m_providerStatuses.insert(systemCalendarStatusKey, ProviderStatus::disconnected());
    applyCalendarPreferences();
    for (const auto changed :
         {&PreferencesManager::includeAllDayEventsChanged, &PreferencesManager::enabledCalendarIDsChanged,
          &PreferencesManager::minimumMeetingDurationChanged}) {
        connect(&m_preferences, changed, this, &AppState::applyCalendarPreferences);
    }
    connect(&m_preferences, &PreferencesManager::outlookEnabledChanged, this, &AppState::updateOutlook);
    updateOutlook();
    m_eventMonitor.setOnEventApproaching([self = QPointer(this)](const CalendarEvent &event) {
        if (self) {
            QMetaObject::invokeMethod(
                self.data(), [self, event] { self->presentAlert(event); }, Qt::QueuedConnection);
        }
    });
}

AppState::~AppState()
{
    // The monitor outlives this object and must not hold on to the calendar that goes with it.
    if (m_outlookProvider && m_calendarProviders.contains(m_outlookProvider.get()) && m_eventMonitor.isRunning()) {
        m_calendarProviders.removeOne(m_outlookProvider.get());
        m_eventMonitor.startMonitoring(m_calendarProviders);
    }
}

void AppState::start()
{
    // Runs on by itself; every step checks that this object is still there.
    (void)run();
}

QCoro::Task<> AppState::run()
{
    const QPointer self(this);
    co_await startUp();
    if (!self || m_preferences.hasBeenLaunched()) {
        co_return;
    }
    showSettings();
    m_preferences.setHasBeenLaunched(true);
}

QCoro::Task<> AppState::startUp()
{
    const QPointer self(this);
    if (CalendarProvider *system = m_calendarProviders.value(0)) {
        const bool granted = co_await system->requestAccess();
        if (!self) {
            co_return;
        }
        m_started = true;
        setProviderStatus(systemCalendarStatusKey,
                          granted ? ProviderStatus::connected() : ProviderStatus::permissionDenied());
        if (granted) {
            co_await refreshEvents();
            if (!self) {
                co_return;
            }
        }
    }
    m_started = true;
    m_eventMonitor.startMonitoring(m_calendarProviders);
}

QCoro::Task<> AppState::refreshEvents()
{
    const QPointer self(this);
    const QList<CalendarProvider *> providers = m_calendarProviders;
    QList<CalendarEvent> events;
    try {
        for (CalendarProvider *provider : providers) {
            events.append(co_await provider->fetchUpcomingEvents());
            if (!self) {
                co_return;
            }
        }
    } catch (...) {
        if (self) {
            m_lastError = AppError::fetchFailed(localizedDescription(std::current_exception()));
            Q_EMIT lastErrorChanged();
        }
        co_return;
    }
    // A calendar turned off while this ran takes its events along; one turned on brought a refresh of its own.
    events.removeIf([this](const CalendarEvent &event) { return !isListed(event.providerID()); });
    std::stable_sort(events.begin(), events.end(),
                     [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
    m_upcomingEvents = std::move(events);
    Q_EMIT upcomingEventsChanged();
}

void AppState::presentAlert(const CalendarEvent &event)
{
    // The monitor may still hold events of a calendar turned off since its last fetch.
    if (!isListed(event.providerID())) {
        return;
    }
    if (m_activeAlert && m_activeAlert->id() == event.id()) {
        return;
    }
    m_queuedAlerts.removeIf([&](const CalendarEvent &queued) { return queued.id() == event.id(); });
    if (m_activeAlert) {
        const CalendarEvent &displaced = *m_activeAlert;
        const auto later = std::upper_bound(
            m_queuedAlerts.begin(), m_queuedAlerts.end(), displaced,
            [](const CalendarEvent &a, const CalendarEvent &b) { return a.startDate() < b.startDate(); });
        m_queuedAlerts.insert(later, displaced);
    }
    show(event);
}

void AppState::show(const CalendarEvent &event)
{
    setActiveAlert(event);
    prepareAlert();
    m_alertManager.showAlert(event, [self = QPointer(this), event](AlertAction action) {
        if (self) {
            QMetaObject::invokeMethod(
                self.data(), [self, action, event] { self->handleAlertAction(action, event); }, Qt::QueuedConnection);
        }
    });
}

void AppState::handleAlertAction(AlertAction action, const CalendarEvent &event)
{
    if (action.kind() == AlertAction::Kind::joinMeeting && event.meetingURL()) {
        m_urlOpener.open(*event.meetingURL());
    }
    if (action.kind() == AlertAction::Kind::snooze) {
        m_eventMonitor.snooze(event, action.minutes());
    } else {
        m_eventMonitor.dismiss(event);
    }
    // An answer that was on its way while another alert took the screen settles the waiting one.
    m_queuedAlerts.removeIf([&](const CalendarEvent &queued) { return queued.id() == event.id(); });
    if (m_activeAlert && m_activeAlert->id() == event.id()) {
        setActiveAlert(std::nullopt);
        showNextQueued();
    }
}

void AppState::prepareAlert()
{
    applyAlertPreferences(m_alertManager, m_preferences);
    if (m_preferences.playSound()) {
        m_soundPlayer.play(m_preferences.soundName());
    }
}

void AppState::showTestAlert()
{
    prepareAlert();
    bellwick::showTestAlert(m_alertManager, m_clock.now());
}

void AppState::previewSound()
{
    m_soundPlayer.play(m_preferences.soundName());
}

void AppState::showNextQueued()
{
    const QDateTime now = m_clock.now();
    while (!m_queuedAlerts.isEmpty()) {
        const CalendarEvent next = m_queuedAlerts.takeFirst();
        if (next.endDate() > now) {
            show(next);
            return;
        }
        // Over before anyone saw it: it is settled as an alert that closed by itself, so it is never reported again.
        m_eventMonitor.dismiss(next);
    }
}

void AppState::refresh()
{
    (void)refreshEvents();
}

void AppState::showPanel()
{
    Q_EMIT panelRequested();
}

void AppState::showSettings()
{
    Q_EMIT settingsRequested();
}

void AppState::quit()
{
    QCoreApplication::quit();
}

std::optional<ProviderStatus> AppState::systemCalendarStatus() const
{
    const auto found = m_providerStatuses.constFind(systemCalendarStatusKey);
    return found == m_providerStatuses.cend() ? std::nullopt : std::optional(*found);
}

std::optional<ProviderStatus> AppState::outlookStatus() const
{
    const auto found = m_providerStatuses.constFind(outlookStatusKey);
    return found == m_providerStatuses.cend() ? std::nullopt : std::optional(*found);
}

void AppState::setProviderStatus(const QString &key, const ProviderStatus &status)
{
    const auto found = m_providerStatuses.constFind(key);
    if (found != m_providerStatuses.cend() && *found == status) {
        return;
    }
    m_providerStatuses.insert(key, status);
    Q_EMIT providerStatusesChanged();
}

void AppState::setActiveAlert(std::optional<CalendarEvent> event)
{
    m_activeAlert = std::move(event);
    Q_EMIT activeAlertChanged();
}

void AppState::applyCalendarPreferences()
{
    for (CalendarProvider *provider : std::as_const(m_calendarProviders)) {
        CalendarProviderConfig config = provider->config();
        config.includeAllDayEvents = m_preferences.includeAllDayEvents();
        config.includedCalendarIDs = m_preferences.enabledCalendarIDs();
        config.minimumDurationMinutes = boundedMinutes(m_preferences.minimumMeetingDuration());
        provider->setConfig(std::move(config));
    }
}

OutlookAuthService &AppState::outlookAuth()
{
    if (!m_outlookAuth) {
        m_outlookAuth = std::make_unique<OutlookAuthService>(
            m_clock, [this] { return m_preferences.outlookClientID(); }, m_outlookEndpoints);
        for (const auto changed : {&OutlookAuthService::isAuthenticatedChanged, &OutlookAuthService::errorChanged,
                                   &OutlookAuthService::storedTokensLoaded}) {
            connect(m_outlookAuth.get(), changed, this, &AppState::updateOutlook);
        }
    }
    return *m_outlookAuth;
}

void AppState::updateOutlook()
{
    const bool enabled = m_preferences.outlookEnabled();
    OutlookAuthService *auth = enabled ? &outlookAuth() : nullptr;
    const bool wanted = auth && auth->hasLoadedStoredTokens() && auth->isAuthenticated();
    const bool listed = m_outlookProvider && m_calendarProviders.contains(m_outlookProvider.get());
    if (wanted && !listed) {
        if (!m_outlookProvider) {
            m_outlookProvider = std::make_unique<OutlookCalendarProvider>(m_clock, m_outlookEndpoints.graphRoot);
            m_outlookProvider->setTokenRefreshHandler(
                [auth](TokenRenewal renewal) { return auth->usableAccessToken(renewal); });
            m_outlookProvider->setFetchObserver([this](const std::exception_ptr &failure) {
                if (isListed(m_outlookProvider->providerID())) {
                    setProviderStatus(outlookStatusKey, failure ? ProviderStatus::error(localizedDescription(failure))
                                                                : ProviderStatus::connected());
                }
            });
        }
        setProviderStatus(outlookStatusKey, ProviderStatus::disconnected());
        QList<CalendarProvider *> providers = m_calendarProviders;
        providers.insert(std::min<qsizetype>(1, providers.size()), m_outlookProvider.get());
        setCalendarProviders(std::move(providers));
    } else if (!wanted && listed) {
        QList<CalendarProvider *> providers = m_calendarProviders;
        providers.removeOne(m_outlookProvider.get());
        setCalendarProviders(std::move(providers));
    }

    if (!enabled) {
        if (m_providerStatuses.remove(outlookStatusKey) > 0) {
            Q_EMIT providerStatusesChanged();
        }
    } else if (!wanted) {
        // An ended session stays in view until the user signs in again; before that there is nothing to read.
        const std::optional<AuthError> &error = auth->error();
        setProviderStatus(outlookStatusKey, error && error->errorCase() == AuthError::Case::tokenExpired
                                                ? ProviderStatus::error(error->errorDescription())
                                                : ProviderStatus::disconnected());
    }
}

void AppState::setCalendarProviders(QList<CalendarProvider *> providers)
{
    m_calendarProviders = std::move(providers);
    applyCalendarPreferences();
    if (!m_started) {
        return;
    }
    if (m_eventMonitor.isRunning()) {
        m_eventMonitor.startMonitoring(m_calendarProviders);
    }
    refresh();
}

bool AppState::isListed(const QString &providerID) const
{
    return std::any_of(m_calendarProviders.cbegin(), m_calendarProviders.cend(),
                       [&](const CalendarProvider *provider) { return provider->providerID() == providerID; });
}

} // namespace bellwick
