<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>AboutTab</name>
    <message>
        <source>Never miss a meeting again.
Fullscreen alerts for your calendar events.</source>
        <translation>Nie wieder eine Besprechung verpassen.
Vollbild-Erinnerungen für Ihre Kalendertermine.</translation>
    </message>
    <message>
        <source>Visit Website</source>
        <translation>Webseite besuchen</translation>
    </message>
    <message>
        <source>Made by the Bellwick developers.
Built on Qt and Evolution Data Server.</source>
        <translation>Ein Projekt der Bellwick-Entwickler.
Basiert auf Qt und Evolution Data Server.</translation>
    </message>
</context>
<context>
    <name>AlertColorScheme</name>
    <message>
        <source>Purple (Default)</source>
        <translation>Lila (Standard)</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>Dunkel</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Orange</source>
        <translation>Orange</translation>
    </message>
</context>
<context>
    <name>AlertSettingsTab</name>
    <message>
        <source>Timing</source>
        <translation>Zeitpunkt</translation>
    </message>
    <message>
        <source>Show alert before event</source>
        <translation>Erinnerung vor dem Termin</translation>
    </message>
    <message>
        <source>How many minutes before an event to show the alert</source>
        <translation>Wie viele Minuten vor einem Termin die Erinnerung erscheint</translation>
    </message>
    <message>
        <source>Sound</source>
        <translation>Ton</translation>
    </message>
    <message>
        <source>Play sound</source>
        <translation>Ton abspielen</translation>
    </message>
    <message>
        <source>Play a sound when showing an alert</source>
        <translation>Beim Anzeigen einer Erinnerung einen Ton abspielen</translation>
    </message>
    <message>
        <source>Alert sound</source>
        <translation>Erinnerungston</translation>
    </message>
    <message>
        <source>Preview Sound</source>
        <translation>Ton anhören</translation>
    </message>
    <message>
        <source>Snooze</source>
        <translation>Schlummern</translation>
    </message>
    <message>
        <source>Default snooze</source>
        <translation>Standard-Schlummerdauer</translation>
    </message>
    <message>
        <source>Default duration when snoozing an alert</source>
        <translation>Vorgegebene Dauer beim Schlummern einer Erinnerung</translation>
    </message>
    <message>
        <source>Snooze style</source>
        <translation>Schlummerart</translation>
    </message>
    <message>
        <source>Choose between relative durations (e.g., 5 min) or absolute reminder times (e.g., 8:55)</source>
        <translation>Wählen Sie zwischen Zeitspannen (z.&#xa0;B. 5 Min.) und festen Erinnerungszeiten (z.&#xa0;B. 8:55)</translation>
    </message>
    <message>
        <source>Auto-Dismiss</source>
        <translation>Automatisch schließen</translation>
    </message>
    <message>
        <source>Auto-dismiss after meeting starts</source>
        <translation>Nach Beginn der Besprechung schließen</translation>
    </message>
    <message>
        <source>Automatically dismiss the alert after the meeting has started</source>
        <translation>Die Erinnerung nach Beginn der Besprechung automatisch schließen</translation>
    </message>
    <message>
        <source>Dismiss after</source>
        <translation>Schließen nach</translation>
    </message>
    <message>
        <source>Meeting Links</source>
        <translation>Besprechungslinks</translation>
    </message>
    <message>
        <source>Show Join Meeting button</source>
        <translation>Schaltfläche »Teilnehmen« anzeigen</translation>
    </message>
    <message>
        <source>Show a button to quickly join video meetings (Zoom, Teams, Meet)</source>
        <translation>Eine Schaltfläche anzeigen, um Videobesprechungen schnell beizutreten (Zoom, Teams, Meet)</translation>
    </message>
    <message>
        <source>Preview</source>
        <translation>Vorschau</translation>
    </message>
    <message>
        <source>Test Alert</source>
        <translation>Test-Erinnerung</translation>
    </message>
    <message>
        <source>Show a test alert to preview the appearance</source>
        <translation>Eine Test-Erinnerung anzeigen, um das Aussehen zu prüfen</translation>
    </message>
</context>
<context>
    <name>AppError</name>
    <message>
        <source>Failed to fetch events: </source>
        <translation>Termine konnten nicht abgerufen werden: </translation>
    </message>
    <message>
        <source>Network error: </source>
        <translation>Netzwerkfehler: </translation>
    </message>
    <message>
        <source>Calendar access denied. Please enable in System Settings.</source>
        <translation>Zugriff auf den Kalender verweigert. Bitte erlauben Sie ihn in den Systemeinstellungen.</translation>
    </message>
</context>
<context>
    <name>AppearanceSettingsTab</name>
    <message>
        <source>Display</source>
        <translation>Bildschirm</translation>
    </message>
    <message>
        <source>Show alert on</source>
        <translation>Erinnerung anzeigen auf</translation>
    </message>
    <message>
        <source>Which display to show the fullscreen alert on</source>
        <translation>Auf welchem Bildschirm die Vollbild-Erinnerung erscheint</translation>
    </message>
    <message>
        <source>Alert Style</source>
        <translation>Aussehen der Erinnerung</translation>
    </message>
    <message>
        <source>Color scheme</source>
        <translation>Farbschema</translation>
    </message>
    <message>
        <source>Color theme for the fullscreen alert</source>
        <translation>Farben der Vollbild-Erinnerung</translation>
    </message>
    <message>
        <source>Background opacity</source>
        <translation>Deckkraft des Hintergrunds</translation>
    </message>
    <message>
        <source>How opaque the alert background should be</source>
        <translation>Wie deckend der Hintergrund der Erinnerung sein soll</translation>
    </message>
    <message>
        <source>Show event description</source>
        <translation>Terminbeschreibung anzeigen</translation>
    </message>
    <message>
        <source>Display the event notes/description in the alert</source>
        <translation>Notizen bzw. Beschreibung des Termins in der Erinnerung anzeigen</translation>
    </message>
</context>
<context>
    <name>AuthError</name>
    <message>
        <source>Authentication failed: </source>
        <translation>Anmeldung fehlgeschlagen: </translation>
    </message>
    <message>
        <source>Network error: </source>
        <translation>Netzwerkfehler: </translation>
    </message>
    <message>
        <source>Invalid OAuth configuration. Please check your Azure AD app settings.</source>
        <translation>Ungültige OAuth-Konfiguration. Bitte prüfen Sie die Einstellungen der App in Azure AD.</translation>
    </message>
    <message>
        <source>Sign in was cancelled.</source>
        <translation>Die Anmeldung wurde abgebrochen.</translation>
    </message>
    <message>
        <source>Invalid authentication callback received.</source>
        <translation>Ungültige Rückmeldung der Anmeldung erhalten.</translation>
    </message>
    <message>
        <source>Failed to exchange authorization code for tokens.</source>
        <translation>Der Autorisierungscode konnte nicht gegen Tokens eingetauscht werden.</translation>
    </message>
    <message>
        <source>Your session has expired. Please sign in again.</source>
        <translation>Ihre Sitzung ist abgelaufen. Bitte melden Sie sich erneut an.</translation>
    </message>
    <message>
        <source>Not authenticated. Please sign in first.</source>
        <translation>Nicht angemeldet. Bitte melden Sie sich zuerst an.</translation>
    </message>
</context>
<context>
    <name>CalendarEvent</name>
    <message>
        <source>Untitled Event</source>
        <translation>Unbenannter Termin</translation>
    </message>
</context>
<context>
    <name>CalendarProviderError</name>
    <message>
        <source>Network error: </source>
        <translation>Netzwerkfehler: </translation>
    </message>
    <message>
        <source>An unexpected error occurred: </source>
        <translation>Ein unerwarteter Fehler ist aufgetreten: </translation>
    </message>
    <message>
        <source>Calendar access not authorized. Please grant permission in System Settings.</source>
        <translation>Kein Zugriff auf den Kalender. Bitte erteilen Sie die Berechtigung in den Systemeinstellungen.</translation>
    </message>
    <message>
        <source>Access to calendar was denied.</source>
        <translation>Der Zugriff auf den Kalender wurde verweigert.</translation>
    </message>
    <message>
        <source>Received invalid response from calendar service.</source>
        <translation>Ungültige Antwort vom Kalenderdienst erhalten.</translation>
    </message>
    <message>
        <source>Authentication expired. Please sign in again.</source>
        <translation>Die Anmeldung ist abgelaufen. Bitte melden Sie sich erneut an.</translation>
    </message>
    <message>
        <source>Calendar service is currently unavailable.</source>
        <translation>Der Kalenderdienst ist derzeit nicht erreichbar.</translation>
    </message>
</context>
<context>
    <name>CalendarSettingsTab</name>
    <message>
        <source>Calendar Sources</source>
        <translation>Kalenderquellen</translation>
    </message>
    <message>
        <source>System Calendar</source>
        <translation>Systemkalender</translation>
    </message>
    <message>
        <source>Open System Settings</source>
        <translation>Systemeinstellungen öffnen</translation>
    </message>
    <message>
        <source>Event Filters</source>
        <translation>Terminfilter</translation>
    </message>
    <message>
        <source>Include all-day events</source>
        <translation>Ganztägige Termine einbeziehen</translation>
    </message>
    <message>
        <source>Show alerts for all-day events</source>
        <translation>Auch an ganztägige Termine erinnern</translation>
    </message>
    <message>
        <source>Minimum meeting duration</source>
        <translation>Mindestdauer einer Besprechung</translation>
    </message>
    <message>
        <source>Only show alerts for meetings longer than this duration</source>
        <translation>Nur an Besprechungen erinnern, die mindestens so lange dauern</translation>
    </message>
    <message>
        <source>Calendars to Monitor</source>
        <translation>Überwachte Kalender</translation>
    </message>
    <message>
        <source>No calendars available</source>
        <translation>Keine Kalender verfügbar</translation>
    </message>
    <message>
        <source>Microsoft 365</source>
        <translation>Microsoft 365</translation>
    </message>
    <message>
        <source>Alert for Outlook meetings</source>
        <translation>An Outlook-Besprechungen erinnern</translation>
    </message>
    <message>
        <source>Read the calendar of your Microsoft 365 account</source>
        <translation>Den Kalender Ihres Microsoft-365-Kontos lesen</translation>
    </message>
    <message>
        <source>Sign Out</source>
        <translation>Abmelden</translation>
    </message>
    <message>
        <source>Sign In…</source>
        <translation>Anmelden …</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Application (client) ID</source>
        <translation>Anwendungs-ID (Client-ID)</translation>
    </message>
    <message>
        <source>The ID of your app registration in Microsoft Entra. Your sign-in is kept in the keyring.</source>
        <translation>Die ID Ihrer App-Registrierung in Microsoft Entra. Ihre Anmeldung wird im Schlüsselbund aufbewahrt.</translation>
    </message>
</context>
<context>
    <name>FullscreenAlertView</name>
    <message>
        <source>Upcoming Meeting</source>
        <translation>Anstehende Besprechung</translation>
    </message>
    <message>
        <source>Join Meeting</source>
        <translation>Teilnehmen</translation>
    </message>
    <message>
        <source>Dismiss</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Remind me when meeting starts</source>
        <translation>Bei Beginn der Besprechung erinnern</translation>
    </message>
</context>
<context>
    <name>GeneralSettingsTab</name>
    <message>
        <source>Startup</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Launch at login</source>
        <translation>Bei der Anmeldung starten</translation>
    </message>
    <message>
        <source>Automatically start Bellwick when you log in</source>
        <translation>Bellwick automatisch starten, wenn Sie sich anmelden</translation>
    </message>
    <message>
        <source>Show in Dock</source>
        <translation>Im Dock anzeigen</translation>
    </message>
    <message>
        <source>Show the app icon in the Dock (requires restart)</source>
        <translation>Das Symbol der App im Dock bzw. in der Taskleiste anzeigen (erfordert einen Neustart)</translation>
    </message>
    <message>
        <source>Calendar Refresh</source>
        <translation>Aktualisierung</translation>
    </message>
    <message>
        <source>Refresh calendar every</source>
        <translation>Kalender aktualisieren alle</translation>
    </message>
    <message>
        <source>How often to check your calendars for new or updated events</source>
        <translation>Wie oft Ihre Kalender auf neue oder geänderte Termine geprüft werden</translation>
    </message>
    <message>
        <source>More frequent updates use more battery but catch last-minute calendar changes faster.</source>
        <translation>Häufigere Aktualisierungen verbrauchen mehr Akku, erkennen kurzfristige Änderungen aber schneller.</translation>
    </message>
    <message>
        <source>Reset to Defaults</source>
        <translation>Auf Standardwerte zurücksetzen</translation>
    </message>
</context>
<context>
    <name>GraphDecodingError</name>
    <message>
        <source>The calendar service&apos;s reply could not be read: </source>
        <translation>Die Antwort des Kalenderdienstes konnte nicht gelesen werden: </translation>
    </message>
</context>
<context>
    <name>MenuBarView</name>
    <message>
        <source>Refresh events</source>
        <translation>Termine aktualisieren</translation>
    </message>
    <message>
        <source>No upcoming events</source>
        <translation>Keine anstehenden Termine</translation>
    </message>
    <message>
        <source>Settings...</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
</context>
<context>
    <name>NetworkFailure</name>
    <message>
        <source>The server did not answer in time.</source>
        <translation>Der Server hat nicht rechtzeitig geantwortet.</translation>
    </message>
</context>
<context>
    <name>SettingsView</name>
    <message>
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message>
        <source>Calendars</source>
        <translation>Kalender</translation>
    </message>
    <message>
        <source>Alerts</source>
        <translation>Erinnerungen</translation>
    </message>
    <message>
        <source>Appearance</source>
        <translation>Darstellung</translation>
    </message>
    <message>
        <source>About</source>
        <translation>Info</translation>
    </message>
</context>
<context>
    <name>TestAlert</name>
    <message>
        <source>Test Meeting - Project Sync</source>
        <translation>Testbesprechung – Projektabgleich</translation>
    </message>
    <message>
        <source>This is a test alert to preview how your meeting notifications will appear.

You can dismiss this alert using the buttons below.</source>
        <translation>Dies ist eine Test-Erinnerung. Sie zeigt, wie Ihre Besprechungen angekündigt werden.

Schließen Sie diese Erinnerung mit den Schaltflächen unten.</translation>
    </message>
    <message>
        <source>Work Calendar</source>
        <translation>Arbeitskalender</translation>
    </message>
</context>
<context>
    <name>bellwick::AlertNotification</name>
    <message>
        <source>Join</source>
        <translation>Teilnehmen</translation>
    </message>
</context>
<context>
    <name>bellwick::AlertPresenter</name>
    <message>
        <source>Meeting</source>
        <translation>Besprechung</translation>
    </message>
    <message>
        <source>Remind me in:</source>
        <translation>Erinnern in:</translation>
    </message>
    <message>
        <source>Remind me at:</source>
        <translation>Erinnern um:</translation>
    </message>
    <message>
        <source>Meeting Started</source>
        <translation>Besprechung hat begonnen</translation>
    </message>
    <message>
        <source>Starts in</source>
        <translation>Beginnt in</translation>
    </message>
    <message>
        <source>Starting now!</source>
        <translation>Beginnt jetzt!</translation>
    </message>
    <message>
        <source>Started %1 ago</source>
        <translation>Begann vor %1</translation>
    </message>
    <message>
        <source>Starts at %1</source>
        <translation>Beginnt um %1</translation>
    </message>
    <message>
        <source>Started at %1</source>
        <translation>Begann um %1</translation>
    </message>
    <message numerus="yes">
        <source>%n min</source>
        <translation>
            <numerusform>%n Min.</numerusform>
            <numerusform>%n Min.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>bellwick::AlertWindow</name>
    <message>
        <source>Upcoming Meeting</source>
        <translation>Anstehende Besprechung</translation>
    </message>
</context>
<context>
    <name>bellwick::BrowserSignIn</name>
    <message>
        <source>Bellwick has the answer of the sign-in. You can close this tab.</source>
        <translation>Bellwick hat die Antwort der Anmeldung erhalten. Sie können diesen Tab schließen.</translation>
    </message>
    <message>
        <source>the web browser could not be opened</source>
        <translation>der Webbrowser konnte nicht geöffnet werden</translation>
    </message>
    <message>
        <source>no local port is free for the browser&apos;s answer</source>
        <translation>kein lokaler Port ist für die Antwort des Browsers frei</translation>
    </message>
    <message>
        <source>the sign-in service did not answer in time</source>
        <translation>der Anmeldedienst hat nicht rechtzeitig geantwortet</translation>
    </message>
</context>
<context>
    <name>bellwick::MenuBarPresenter</name>
    <message>
        <source>now</source>
        <translation>jetzt</translation>
    </message>
    <message numerus="yes">
        <source>%nm</source>
        <translation>
            <numerusform>%n Min.</numerusform>
            <numerusform>%n Min.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%nh</source>
        <translation>
            <numerusform>%n Std.</numerusform>
            <numerusform>%n Std.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>+ %n more</source>
        <translation>
            <numerusform>+ %n weiterer</numerusform>
            <numerusform>+ %n weitere</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>bellwick::SettingsPresenter</name>
    <message numerus="yes">
        <source>%n minute(s)</source>
        <translation>
            <numerusform>%n Minute</numerusform>
            <numerusform>%n Minuten</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n second(s)</source>
        <translation>
            <numerusform>%n Sekunde</numerusform>
            <numerusform>%n Sekunden</numerusform>
        </translation>
    </message>
    <message>
        <source>All meetings</source>
        <translation>Alle Besprechungen</translation>
    </message>
    <message numerus="yes">
        <source>%n+ minute(s)</source>
        <translation>
            <numerusform>Ab %n Minute</numerusform>
            <numerusform>Ab %n Minuten</numerusform>
        </translation>
    </message>
    <message>
        <source>Remind me at...</source>
        <translation>Erinnern um …</translation>
    </message>
    <message>
        <source>Remind me in...</source>
        <translation>Erinnern in …</translation>
    </message>
    <message>
        <source>Disconnected</source>
        <translation>Nicht verbunden</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>Verbunden</translation>
    </message>
    <message>
        <source>Permission Denied</source>
        <translation>Zugriff verweigert</translation>
    </message>
    <message>
        <source>%1%</source>
        <translation>%1&#xa0;%</translation>
    </message>
    <message>
        <source>Main Display</source>
        <translation>Hauptbildschirm</translation>
    </message>
    <message>
        <source>Display %1: %2</source>
        <translation>Bildschirm %1: %2</translation>
    </message>
    <message>
        <source>Display %1 (not connected)</source>
        <translation>Bildschirm %1 (nicht verbunden)</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
    <message>
        <source>Waiting for the browser…</source>
        <translation>Warten auf den Browser …</translation>
    </message>
    <message>
        <source>Not signed in</source>
        <translation>Nicht angemeldet</translation>
    </message>
    <message>
        <source>Signed in</source>
        <translation>Angemeldet</translation>
    </message>
</context>
<context>
    <name>bellwick::SettingsWindow</name>
    <message>
        <source>Bellwick Settings</source>
        <translation>Bellwick-Einstellungen</translation>
    </message>
</context>
<context>
    <name>bellwick::TrayAgent</name>
    <message>
        <source>Refresh events</source>
        <translation>Termine aktualisieren</translation>
    </message>
    <message>
        <source>Settings...</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
</context>
</TS>
