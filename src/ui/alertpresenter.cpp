#include "alertpresenter.h"

#include "platform/clock.h"

#include <QLocale>

#include <array>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

// A reminder must come at least this long before the start to be worth offering.
constexpr qint64 minimumSnoozeLeadSeconds = 45;
constexpr qsizetype maximumSnoozeOptions = 4;
constexpr std::array relativeSnoozeMinutes{1, 2, 5, 10, 15};
constexpr std::array absoluteSnoozeMinutes{15, 10, 5, 3, 2, 1};

// Whole seconds from `from` to `to`, the fraction dropped toward zero.
qint64 wholeSecondsBetween(const QDateTime &from, const QDateTime &to)
{
    return from.msecsTo(to) / 1000;
}

QString shortTime(const QDateTime &time)
{
    return QLocale::system().toString(time.toLocalTime().time(), QLocale::ShortFormat);
}

QString minutesAndSeconds(qint64 seconds)
{
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

AlertPresenter::AlertPresenter(CalendarEvent event, Appearance appearance, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_event(std::move(event))
    , m_appearance(appearance)
    , m_clock(clock)
    , m_currentTime(clock.now())
    , m_timer(clock.callEvery(1s, [this] { setCurrentTime(m_clock.now()); }))
{ }

AlertPresenter::~AlertPresenter() = default;

QString AlertPresenter::serviceName() const
{
    const auto type = m_event.meetingType();
    return type ? rawValue(*type) : QString();
}

QString AlertPresenter::serviceIcon() const
{
    const auto type = m_event.meetingType();
    if (!type) {
        return {};
    }
    switch (*type) {
    case MeetingType::zoom:
        return QStringLiteral("camera-video");
    case MeetingType::teams:
        return QStringLiteral("system-users");
    case MeetingType::googleMeet:
        return QStringLiteral("camera-web");
    case MeetingType::webex:
        return QStringLiteral("video-display");
    case MeetingType::other:
        return QStringLiteral("insert-link");
    }
    return {};
}

QColor AlertPresenter::gradientStart() const
{
    return gradientColors(m_appearance.colorScheme).first;
}

QColor AlertPresenter::gradientEnd() const
{
    return gradientColors(m_appearance.colorScheme).second;
}

QString AlertPresenter::snoozeHeading() const
{
    return m_appearance.snoozeStyle == SnoozeStyle::relative ? tr("Remind me in:") : tr("Remind me at:");
}

void AlertPresenter::setCurrentTime(const QDateTime &time)
{
    if (time == m_currentTime) {
        return;
    }
    m_currentTime = time;
    Q_EMIT currentTimeChanged();
}

QString AlertPresenter::currentTimeText() const
{
    return shortTime(m_currentTime);
}

bool AlertPresenter::hasStarted() const
{
    return m_currentTime >= m_event.startDate();
}

QString AlertPresenter::countdownLabel() const
{
    return hasStarted() ? tr("Meeting Started") : tr("Starts in");
}

qint64 AlertPresenter::secondsUntilStart() const
{
    return wholeSecondsBetween(m_currentTime, m_event.startDate());
}

QString AlertPresenter::countdownText() const
{
    const qint64 seconds = secondsUntilStart();
    if (seconds > 0) {
        return minutesAndSeconds(seconds);
    }
    if (seconds == 0) {
        return tr("Starting now!");
    }
    return tr("Started %1 ago").arg(minutesAndSeconds(-seconds));
}

QString AlertPresenter::startTimeText() const
{
    const QString prefix = m_clock.now() < m_event.startDate() ? tr("Starts at ") : tr("Started at ");
    return prefix + shortTime(m_event.startDate());
}

QList<SnoozeOption> AlertPresenter::snoozeOptions() const
{
    QList<SnoozeOption> options;
    const QDateTime &start = m_event.startDate();
    if (m_appearance.snoozeStyle == SnoozeStyle::relative) {
        for (const int minutes : relativeSnoozeMinutes) {
            if (wholeSecondsBetween(m_currentTime.addSecs(minutes * 60), start) >= minimumSnoozeLeadSeconds) {
                options.append({minutes, tr("%1 min").arg(minutes)});
            }
        }
    } else {
        for (const int minutesBefore : absoluteSnoozeMinutes) {
            const QDateTime remindAt = start.addSecs(-minutesBefore * 60);
            const qint64 seconds = wholeSecondsBetween(m_currentTime, remindAt);
            if (seconds >= minimumSnoozeLeadSeconds) {
                // The time shown is the reminder's; what is handed on is the distance to it, to the nearest minute.
                const int minutes = seconds <= 59 ? 1 : static_cast<int>((seconds + 30) / 60);
                options.append({minutes, shortTime(remindAt)});
            }
        }
    }
    if (options.size() > maximumSnoozeOptions) {
        options.resize(maximumSnoozeOptions);
    }
    return options;
}

QVariantList AlertPresenter::snoozeChoices() const
{
    QVariantList choices;
    for (const SnoozeOption &option : snoozeOptions()) {
        choices.append(
            QVariantMap{{QStringLiteral("minutes"), option.minutes}, {QStringLiteral("label"), option.label}});
    }
    return choices;
}

bool AlertPresenter::offersReminderAtStart() const
{
    return m_currentTime < m_event.startDate() && secondsUntilStart() >= 1;
}

void AlertPresenter::dismiss()
{
    Q_EMIT dismissRequested();
}

void AlertPresenter::snooze(int minutes)
{
    Q_EMIT snoozeRequested(minutes);
}

void AlertPresenter::joinMeeting()
{
    Q_EMIT joinMeetingRequested();
}

} // namespace bellwick
