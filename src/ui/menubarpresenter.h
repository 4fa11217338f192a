#pragma once

#include "app/providerstatus.h"
#include "calendar/calendarevent.h"

#include <QAbstractListModel>
#include <QColor>
#include <QMap>
#include <QObject>

#include <memory>
#include <optional>

namespace bellwick {

class AppState;
class Clock;
class ClockTimer;

// The named colours of the panel; the secondary text colour follows the desktop's palette.
enum class PanelColor { green, gray, red, orange, blue, secondary };
[[nodiscard]] QColor panelColor(PanelColor color);
// A calendar's dot, opaque whatever the calendar's alpha; blue for a calendar without a colour.
[[nodiscard]] QColor calendarDotColor(const std::optional<CalendarColor> &color);

// Whole minutes from now to the start, the fraction dropped toward zero (30 s after the start is 0).
[[nodiscard]] qint64 minutesUntilStart(const QDateTime &start, const QDateTime &now);
// The start in the user's short time format, without the date.
[[nodiscard]] QString timeText(const QDateTime &start);
// "now", "0m" to "59m", or whole hours such as "1h".
[[nodiscard]] QString relativeTimeText(qint64 minutesUntilStart);
// Red once started, orange within six minutes, else the secondary text colour.
[[nodiscard]] PanelColor timeColor(const QDateTime &start, const QDateTime &now);
// The dot of the system calendar's status; no status is gray.
[[nodiscard]] PanelColor statusColor(const std::optional<ProviderStatus> &status);
// The dot over every source: the system calendar's, turned orange by any source in error unless it is red.
[[nodiscard]] PanelColor statusColor(const QMap<QString, ProviderStatus> &statuses);

// The panel's first events, one row each, as of the last update.
class UpcomingEventsModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        titleRole = Qt::UserRole + 1,
        timeTextRole,
        relativeTimeTextRole,
        timeColorRole,
        dotColorRole,
        hasMeetingLinkRole
    };

    static constexpr qsizetype maximumRows = 5;

    using QAbstractListModel::QAbstractListModel;

    // Keeps the first rows of `events`, with their times as seen at `now`.
    void update(const QList<CalendarEvent> &events, const QDateTime &now);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

private:
    QList<CalendarEvent> m_events;
    QDateTime m_now;
};

// Everything the tray panel shows, from the application state and the clock; the view only lays it out.
class MenuBarPresenter : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QColor statusColor READ statusColor NOTIFY statusColorChanged)
    Q_PROPERTY(bellwick::UpcomingEventsModel *events READ events CONSTANT)
    Q_PROPERTY(bool hasEvents READ hasEvents NOTIFY eventsChanged)
    // "+ N more" when the list holds more than the rows shown, else empty.
    Q_PROPERTY(QString moreText READ moreText NOTIFY eventsChanged)
    Q_PROPERTY(QColor secondaryColor READ secondaryColor CONSTANT)
    Q_PROPERTY(QColor linkColor READ linkColor CONSTANT)
    Q_PROPERTY(QColor checkColor READ checkColor CONSTANT)

public:
    MenuBarPresenter(AppState &appState, Clock &clock, QObject *parent = nullptr);
    ~MenuBarPresenter() override;

    [[nodiscard]] QColor statusColor() const;
    [[nodiscard]] UpcomingEventsModel *events() { return &m_events; }
    [[nodiscard]] bool hasEvents() const;
    [[nodiscard]] QString moreText() const;
    [[nodiscard]] static QColor secondaryColor() { return panelColor(PanelColor::secondary); }
    [[nodiscard]] static QColor linkColor() { return panelColor(PanelColor::blue); }
    [[nodiscard]] static QColor checkColor() { return panelColor(PanelColor::green); }

    // While live, the times follow the clock every second; they are brought up to date when it starts.
    void setLive(bool live);
    // Reads the clock and the state again.
    void update();

    Q_INVOKABLE void refresh();
    Q_INVOKABLE void showSettings();
    Q_INVOKABLE void quit();

Q_SIGNALS:
    void statusColorChanged();
    void eventsChanged();

private:
    AppState &m_appState;
    Clock &m_clock;
    UpcomingEventsModel m_events;
    std::unique_ptr<ClockTimer> m_ticks;
};

} // namespace bellwick
