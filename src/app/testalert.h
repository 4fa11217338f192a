#pragma once

#include "calendar/calendarevent.h"

#include <functional>

namespace bellwick {

class AlertManager;
class PreferencesManager;

// Hand-edited settings may hold any number of minutes; this keeps them to what a day's calendar can mean.
[[nodiscard]] int boundedMinutes(qint64 minutes);

// Sets every option of the next alert from the user's preferences, with the opacity kept where the alert stays
// readable.
void applyAlertPreferences(AlertManager &alertManager, const PreferencesManager &preferences);

// The sample meeting of the test alert: a Zoom meeting starting three minutes after `now`.
[[nodiscard]] CalendarEvent testAlertEvent(const QDateTime &now);

// Shows the sample meeting with the options the manager holds; its answer is only written as a diagnostic line, then
// `ended` runs.
void showTestAlert(AlertManager &manager, const QDateTime &now, std::function<void()> ended = {});

} // namespace bellwick
