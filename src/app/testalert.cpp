#include "testalert.h"

#include "monitoring/alertmanager.h"
#include "platform/diagnostics.h"
#include "preferences/preferencesmanager.h"

#include <QCoreApplication>
#include <QUuid>

#include <algorithm>
#include <limits>

namespace bellwick {

namespace {

constexpr qint64 minutesPerDay = 24 * 60;

} // namespace

int boundedMinutes(qint64 minutes)
{
    return static_cast<int>(std::clamp<qint64>(minutes, 0, minutesPerDay));
}

void applyAlertPreferences(AlertManager &alertManager, const PreferencesManager &preferences)
{
    alertManager.backgroundOpacity = std::max(std::min(preferences.alertOpacity(), 1.0), 0.3);
    alertManager.colorScheme = preferences.alertColorScheme();
    alertManager.snoozeStyle = preferences.snoozeStyle();
    alertManager.showJoinButton = preferences.showJoinButton();
    alertManager.showEventNotes = preferences.showEventNotes();
    alertManager.autoDismissMinutes = preferences.autoDismissAfterStart()
                                          ? std::optional(boundedMinutes(preferences.autoDismissMinutes()))
                                          : std::nullopt;
    alertManager.screenIndex =
        static_cast<int>(std::clamp<qint64>(preferences.screenToUse(), 0, std::numeric_limits<int>::max()));
    QList<int> snoozeMinutes;
    for (const qint64 minutes : preferences.customSnoozeOptions()) {
        if (minutes > 0 && minutes <= minutesPerDay) {
            snoozeMinutes.append(static_cast<int>(minutes));
        }
    }
    alertManager.snoozeMinutes = snoozeMinutes;
}

CalendarEvent testAlertEvent(const QDateTime &now)
{
    return CalendarEvent({
        .providerID = QStringLiteral("test"),
        .originalID = QStringLiteral("test-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(),
        .title = QCoreApplication::translate("TestAlert", "Test Meeting - Project Sync"),
        .notes = QCoreApplication::translate("TestAlert",
                                             "This is a test alert to preview how your meeting notifications will "
                                             "appear.\n\nYou can dismiss this alert using the buttons below."),
        .location = QStringLiteral("https://zoom.us/j/123456789"),
        .startDate = now.addSecs(180),
        .endDate = now.addSecs(1980),
        .calendarName = QCoreApplication::translate("TestAlert", "Work Calendar"),
    });
}

void showTestAlert(AlertManager &manager, const QDateTime &now, std::function<void()> ended)
{
    manager.showAlert(testAlertEvent(now), [ended = std::move(ended)](AlertAction action) {
        diagnostic(QStringLiteral("Test alert action: ") + action.text());
        if (ended) {
            ended();
        }
    });
}

} // namespace bellwick
