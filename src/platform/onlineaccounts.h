#pragma once

namespace bellwick {

// Opens the desktop's settings for the accounts whose calendars the system calendar store holds: GNOME's online
// accounts panel, else Evolution's calendar, whose Edit menu holds its accounts; says in a diagnostic line when
// neither is installed.
void openOnlineAccountsSettings();

} // namespace bellwick
