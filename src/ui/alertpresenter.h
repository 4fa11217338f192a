#pragma once

#include "calendar/calendarevent.h"
#include "preferences/preferencetypes.h"

#include <QColor>
#include <QDateTime>
#include <QObject>
#include <QVariantList>

#include <memory>

namespace bellwick {

class Clock;
class ClockTimer;

// One choice of the alert's snooze row.
struct SnoozeOption {
    int minutes = 0;
    QString label;

    friend bool operator==(const SnoozeOption &, const SnoozeOption &) = default;
};

// Everything the full-screen alert shows and when, for one event; the view only lays it out.
class AlertPresenter : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString calendarName READ calendarName CONSTANT)
    // Empty when the event has no location.
    Q_PROPERTY(QString location READ location CONSTANT)
    // The event has a link and the user wants the button.
    Q_PROPERTY(bool showsJoinButton READ showsJoinButton CONSTANT)
    // The event's notes as plain text when the user wants them shown, else empty.
    Q_PROPERTY(QString notes READ notes CONSTANT)
    // Both empty when no meeting service was recognised; the icon is a freedesktop icon name.
    Q_PROPERTY(QString serviceName READ serviceName CONSTANT)
    Q_PROPERTY(QString serviceIcon READ serviceIcon CONSTANT)
    Q_PROPERTY(QColor gradientStart READ gradientStart CONSTANT)
    Q_PROPERTY(QColor gradientEnd READ gradientEnd CONSTANT)
    Q_PROPERTY(double backgroundOpacity READ backgroundOpacity CONSTANT)
    // "Remind me in:" or "Remind me at:".
    Q_PROPERTY(QString snoozeHeading READ snoozeHeading CONSTANT)
    Q_PROPERTY(QDateTime currentTime READ currentTime NOTIFY currentTimeChanged)
    Q_PROPERTY(QString currentTimeText READ currentTimeText NOTIFY currentTimeChanged)
    Q_PROPERTY(bool hasStarted READ hasStarted NOTIFY currentTimeChanged)
    // "Starts in" or "Meeting Started".
    Q_PROPERTY(QString countdownLabel READ countdownLabel NOTIFY currentTimeChanged)
    Q_PROPERTY(QString countdownText READ countdownText NOTIFY currentTimeChanged)
    Q_PROPERTY(QString startTimeText READ startTimeText NOTIFY currentTimeChanged)
    // A list of {minutes, label} maps.
    Q_PROPERTY(QVariantList snoozeChoices READ snoozeChoices NOTIFY currentTimeChanged)
    Q_PROPERTY(bool offersReminderAtStart READ offersReminderAtStart NOTIFY currentTimeChanged)

public:
    struct Appearance {
        AlertColorScheme colorScheme = AlertColorScheme::purple;
        SnoozeStyle snoozeStyle = SnoozeStyle::relative;
        double backgroundOpacity = 0.9;
        bool showJoinButton = true;
        bool showEventNotes = false;
        // The choices of the relative style, in minutes.
        QList<int> snoozeMinutes{1, 2, 5, 10, 15};
    };

    // The view's clock starts at the clock's now and advances on each of the clock's whole seconds.
    AlertPresenter(CalendarEvent event, Appearance appearance, Clock &clock, QObject *parent = nullptr);
    ~AlertPresenter() override;

    [[nodiscard]] const CalendarEvent &event() const { return m_event; }
    [[nodiscard]] QString title() const { return m_event.title(); }
    [[nodiscard]] QString calendarName() const { return m_event.calendarName(); }
    [[nodiscard]] QString location() const { return m_event.location().value_or(QString()); }
    [[nodiscard]] bool showsJoinButton() const;
    [[nodiscard]] QString notes() const { return m_notes; }
    [[nodiscard]] QString serviceName() const;
    [[nodiscard]] QString serviceIcon() const;
    [[nodiscard]] QColor gradientStart() const;
    [[nodiscard]] QColor gradientEnd() const;
    [[nodiscard]] double backgroundOpacity() const { return m_appearance.backgroundOpacity; }
    [[nodiscard]] QString snoozeHeading() const;

    [[nodiscard]] QDateTime currentTime() const { return m_currentTime; }
    void setCurrentTime(const QDateTime &time);
    [[nodiscard]] QString currentTimeText() const;
    [[nodiscard]] bool hasStarted() const;
    [[nodiscard]] QString countdownLabel() const;
    [[nodiscard]] QString countdownText() const;
    // Decided by the clock at the moment it is read, not by the view's clock.
    [[nodiscard]] QString startTimeText() const;
    [[nodiscard]] QList<SnoozeOption> snoozeOptions() const;
    [[nodiscard]] QVariantList snoozeChoices() const;
    [[nodiscard]] bool offersReminderAtStart() const;

    // Called by the view's buttons.
    Q_INVOKABLE void dismiss();
    Q_INVOKABLE void snooze(int minutes);
    Q_INVOKABLE void joinMeeting();

Q_SIGNALS:
    void currentTimeChanged();
    void dismissRequested();
    void snoozeRequested(int minutes);
    void joinMeetingRequested();

private:
    // Whole seconds from the view's clock to the start, the fraction dropped toward zero.
    [[nodiscard]] qint64 secondsUntilStart() const;

    CalendarEvent m_event;
    Appearance m_appearance;
    // Ascending, each once, none under a minute.
    QList<int> m_relativeSnoozeMinutes;
    QString m_notes;
    Clock &m_clock;
    QDateTime m_currentTime;
    std::unique_ptr<ClockTimer> m_timer;
};

} // namespace bellwick
