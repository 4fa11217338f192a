#pragma once

#include "app/providerstatus.h"
#include "calendarlistmodel.h"
#include "menubarpresenter.h"
#include "optionpicker.h"

#include <QColor>
#include <QCoroTask>
#include <QObject>
#include <QUrl>

#include <optional>

namespace bellwick {

class AppState;
class EdsCalendarProvider;
class OutlookAuthService;
class PreferencesManager;

// How the settings show a calendar source's status: a text, a freedesktop icon name and a colour.
struct StatusLabel {
    QString text;
    QString icon;
    PanelColor color;

    friend bool operator==(const StatusLabel &, const StatusLabel &) = default;
};

// No status yet reads as disconnected; an error shows its own message.
[[nodiscard]] StatusLabel statusLabel(const std::optional<ProviderStatus> &status);
// The opacity as a whole percentage, the fraction dropped.
[[nodiscard]] QString opacityPercentText(double opacity);
// "Main Display", then "Display 2: <name>" and on for the other screens, valued by their place in the list.
[[nodiscard]] QList<PickerOption> displayOptions(const QStringList &otherScreenNames);
// The web page an address names, or an empty link when it names none.
[[nodiscard]] QUrl websiteLink(const QString &address);

// Everything the settings window shows and does, over the preferences, the application state and the system
// calendars; the view only lays it out.
class SettingsPresenter : public QObject
{
    Q_OBJECT
    // The switches bind to it directly.
    Q_PROPERTY(bellwick::PreferencesManager *preferences READ preferences CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *refreshInterval READ refreshInterval CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *minimumDuration READ minimumDuration CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *alertLead READ alertLead CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *alertSound READ alertSound CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *defaultSnooze READ defaultSnooze CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *snoozeStyle READ snoozeStyle CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *dismissAfter READ dismissAfter CONSTANT)
    Q_PROPERTY(bellwick::OptionPicker *display READ display CONSTANT)
    // Each option carries "gradientStart" and "gradientEnd".
    Q_PROPERTY(bellwick::OptionPicker *colorScheme READ colorScheme CONSTANT)
    Q_PROPERTY(bellwick::CalendarListModel *calendars READ calendars CONSTANT)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusChanged)
    Q_PROPERTY(QString statusIcon READ statusIcon NOTIFY statusChanged)
    Q_PROPERTY(QColor statusColor READ statusColor NOTIFY statusChanged)
    Q_PROPERTY(bool permissionDenied READ permissionDenied NOTIFY statusChanged)
    Q_PROPERTY(QString outlookStatusText READ outlookStatusText NOTIFY statusChanged)
    Q_PROPERTY(QString outlookStatusIcon READ outlookStatusIcon NOTIFY statusChanged)
    Q_PROPERTY(QColor outlookStatusColor READ outlookStatusColor NOTIFY statusChanged)
    // The signed-in account's address, or what stands in its place.
    Q_PROPERTY(QString outlookAccountText READ outlookAccountText NOTIFY outlookAccountChanged)
    Q_PROPERTY(bool outlookSignedIn READ outlookSignedIn NOTIFY outlookAccountChanged)
    Q_PROPERTY(bool outlookSigningIn READ outlookSigningIn NOTIFY outlookAccountChanged)
    // Why the last sign-in failed; empty when it did not, or when the status already says it.
    Q_PROPERTY(QString outlookErrorText READ outlookErrorText NOTIFY outlookAccountChanged)
    Q_PROPERTY(QString opacityText READ opacityText NOTIFY opacityTextChanged)
    Q_PROPERTY(QColor secondaryColor READ secondaryColor CONSTANT)
    Q_PROPERTY(QColor linkColor READ linkColor CONSTANT)
    Q_PROPERTY(QString versionText READ versionText CONSTANT)
    // Empty when the build names no valid web page.
    Q_PROPERTY(QUrl website READ website CONSTANT)

public:
    SettingsPresenter(AppState &appState, EdsCalendarProvider &systemCalendars, QObject *parent = nullptr);
    ~SettingsPresenter() override;

    [[nodiscard]] PreferencesManager *preferences() const { return &m_preferences; }
    [[nodiscard]] OptionPicker *refreshInterval() const { return m_refreshInterval; }
    [[nodiscard]] OptionPicker *minimumDuration() const { return m_minimumDuration; }
    [[nodiscard]] OptionPicker *alertLead() const { return m_alertLead; }
    [[nodiscard]] OptionPicker *alertSound() const { return m_alertSound; }
    [[nodiscard]] OptionPicker *defaultSnooze() const { return m_defaultSnooze; }
    [[nodiscard]] OptionPicker *snoozeStyle() const { return m_snoozeStyle; }
    [[nodiscard]] OptionPicker *dismissAfter() const { return m_dismissAfter; }
    [[nodiscard]] OptionPicker *display() const { return m_display; }
    [[nodiscard]] OptionPicker *colorScheme() const { return m_colorScheme; }
    [[nodiscard]] CalendarListModel *calendars() { return &m_calendars; }

    [[nodiscard]] StatusLabel status() const;
    [[nodiscard]] QString statusText() const { return status().text; }
    [[nodiscard]] QString statusIcon() const { return status().icon; }
    [[nodiscard]] QColor statusColor() const { return panelColor(status().color); }
    [[nodiscard]] bool permissionDenied() const;
    [[nodiscard]] StatusLabel outlookStatus() const;
    [[nodiscard]] QString outlookStatusText() const { return outlookStatus().text; }
    [[nodiscard]] QString outlookStatusIcon() const { return outlookStatus().icon; }
    [[nodiscard]] QColor outlookStatusColor() const { return panelColor(outlookStatus().color); }
    [[nodiscard]] QString outlookAccountText() const;
    [[nodiscard]] bool outlookSignedIn() const;
    [[nodiscard]] bool outlookSigningIn() const;
    [[nodiscard]] QString outlookErrorText() const;
    [[nodiscard]] QString opacityText() const;
    [[nodiscard]] static QColor secondaryColor() { return panelColor(PanelColor::secondary); }
    [[nodiscard]] static QColor linkColor() { return panelColor(PanelColor::blue); }
    [[nodiscard]] static QString versionText();
    [[nodiscard]] static QUrl website();

    // Reads the screens again, as the display menu offers them.
    Q_INVOKABLE void loadScreens();
    // Stores a slider position to the whole percent, so the shown percentage is the one chosen.
    Q_INVOKABLE void setOpacity(double opacity);
    Q_INVOKABLE void previewSound();
    Q_INVOKABLE void showTestAlert();
    Q_INVOKABLE void openSystemSettings();
    Q_INVOKABLE void resetToDefaults();
    // Signs in through the browser and, once signed in, turns the Microsoft 365 calendar on.
    Q_INVOKABLE void signInToOutlook();
    Q_INVOKABLE void cancelOutlookSignIn();
    Q_INVOKABLE void signOutOfOutlook();

Q_SIGNALS:
    void statusChanged();
    void opacityTextChanged();
    void outlookAccountChanged();

private:
    template<typename T, typename Setter>
    OptionPicker *picker(QList<PickerOption> options, T (PreferencesManager::*read)() const, Setter write,
                         void (PreferencesManager::*changed)(), std::function<QString(const T &)> describe);

    QCoro::Task<> signIn();

    AppState &m_appState;
    PreferencesManager &m_preferences;
    OutlookAuthService &m_outlookAuth;
    CalendarListModel m_calendars;
    OptionPicker *m_refreshInterval;
    OptionPicker *m_minimumDuration;
    OptionPicker *m_alertLead;
    OptionPicker *m_alertSound;
    OptionPicker *m_defaultSnooze;
    OptionPicker *m_snoozeStyle;
    OptionPicker *m_dismissAfter;
    OptionPicker *m_display;
    OptionPicker *m_colorScheme;
};

} // namespace bellwick
