#pragma once

#include "calendar/calendarevent.h"
#include "ui/alertpresenter.h"

#include <functional>

namespace bellwick {

class AlertManager;
class PreferencesManager;

// The alert's look as the user set it, with the opacity kept where the alert stays readable.
[[nodiscard]] AlertPresenter::Appearance alertAppearance(const PreferencesManager &preferences);

// The sample meeting of the test alert: a Zoom meeting starting three minutes after `now`.
[[nodiscard]] CalendarEvent testAlertEvent(const QDateTime &now);

// Shows the sample meeting; its answer is only written as a diagnostic line, then `ended` runs.
void showTestAlert(AlertManager &manager, const AlertPresenter::Appearance &appearance, const QDateTime &now,
                   std::function<void()> ended = {});

} // namespace bellwick
