#include "testalert.h"

#include "monitoring/alertmanager.h"
#include "platform/diagnostics.h"
#include "preferences/preferencesmanager.h"

#include <QUuid>

#include <algorithm>

namespace bellwick {

AlertPresenter::Appearance alertAppearance(const PreferencesManager &preferences)
{
    return {
        .colorScheme = preferences.alertColorScheme(),
        .snoozeStyle = preferences.snoozeStyle(),
        .backgroundOpacity = std::max(std::min(preferences.alertOpacity(), 1.0), 0.3),
    };
}

CalendarEvent testAlertEvent(const QDateTime &now)
{
    return CalendarEvent({
        .providerID = QStringLiteral("test"),
        .originalID = QStringLiteral("test-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(),
        .title = QStringLiteral("Test Meeting - Project Sync"),
        .notes = QStringLiteral("This is a test alert to preview how your meeting notifications will appear.\n\n"
                                "You can dismiss this alert using the buttons below."),
        .location = QStringLiteral("https://zoom.us/j/123456789"),
        .startDate = now.addSecs(180),
        .endDate = now.addSecs(1980),
        .calendarName = QStringLiteral("Work Calendar"),
    });
}

void showTestAlert(AlertManager &manager, const AlertPresenter::Appearance &appearance, const QDateTime &now,
                   std::function<void()> ended)
{
    manager.backgroundOpacity = appearance.backgroundOpacity;
    manager.colorScheme = appearance.colorScheme;
    manager.snoozeStyle = appearance.snoozeStyle;
    manager.showAlert(testAlertEvent(now), [ended = std::move(ended)](AlertAction action) {
        diagnostic(QStringLiteral("Test alert action: ") + action.text());
        if (ended) {
            ended();
        }
    });
}

} // namespace bellwick
