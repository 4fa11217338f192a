#include "alertpresenter.h"

#include "platform/clock.h"
#include "platform/diagnostics.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTextDocument>

#include <algorithm>
#include <array>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

// A reminder must come at least this long before the start to be worth offering.
constexpr qint64 minimumSnoozeLeadSeconds = 45;
constexpr qsizetype maximumSnoozeOptions = 4;
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

// Outlook hands descriptions over as HTML and other servers often do. Only tags such descriptions use count, so a
// plain note's "<https://...>" keeps its link.
bool looksLikeHtml(const QString &text)
{
    static const QRegularExpression tag(
        QStringLiteral(R"(<(html|body|div|p|br|span|a|b|i|u|em|strong|font|ul|ol|li|table|tr|td|h[1-6])\b[^<>]*>)"),
        QRegularExpression::CaseInsensitiveOption);
    return tag.match(text).hasMatch();
}

QString plainText(const QString &notes)
{
    QString text = notes;
    if (looksLikeHtml(text)) {
        QTextDocument document;
        document.setHtml(text);
        text = document.toPlainText();
    }
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    // HTML paragraphs leave trailing blanks and runs of empty lines behind.
    static const QRegularExpression trailingBlanks(QStringLiteral(R"([ \t]+(?=\n|$))"));
    static const QRegularExpression emptyLines(QStringLiteral(R"(\n{3,})"));
    text.remove(trailingBlanks);
    text.replace(emptyLines, QStringLiteral("\n\n"));
    return text.trimmed();
}

QList<int> ascendingChoices(QList<int> minutes)
{
    std::sort(minutes.begin(), minutes.end());
    minutes.erase(std::unique(minutes.begin(), minutes.end()), minutes.end());
    const auto firstValid = std::upper_bound(minutes.begin(), minutes.end(), 0);
    if (firstValid != minutes.begin()) {
        QStringList refused;
        std::transform(minutes.begin(), firstValid, std::back_inserter(refused),
                       [](int m) { return QString::number(m); });
        diagnostic(QStringLiteral("Snooze choices under one minute are left out: ")
                   + refused.join(QStringLiteral(", ")));
        minutes.erase(minutes.begin(), firstValid);
    }
    return minutes;
}

} // namespace

AlertPresenter::AlertPresenter(CalendarEvent event, Appearance appearance, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_event(std::move(event))
    , m_appearance(appearance)
    , m_relativeSnoozeMinutes(ascendingChoices(m_appearance.snoozeMinutes))
    , m_notes(m_appearance.showEventNotes ? plainText(m_event.notes().value_or(QString())) : QString())
    , m_clock(clock)
    , m_currentTime(clock.now())
    // On the clock's whole seconds, when the countdown's figures change, so it is never up to a second behind.
    , m_timer(clock.callEvery(QDateTime::fromSecsSinceEpoch(m_currentTime.toSecsSinceEpoch() + 1, Qt::UTC), 1s,
                              [this] { setCurrentTime(m_clock.now()); }))
{ }

AlertPresenter::~AlertPresenter() = default;

bool AlertPresenter::showsJoinButton() const
{
    return m_appearance.showJoinButton && m_event.meetingURL().has_value();
}

QString AlertPresenter::serviceName() const
{
    const auto type = m_event.meetingType();
    if (!type) {
        return {};
    }
    return *type == MeetingType::other ? tr("Meeting") : rawValue(*type);
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
    const QString start = shortTime(m_event.startDate());
    return m_clock.now() < m_event.startDate() ? tr("Starts at %1").arg(start) : tr("Started at %1").arg(start);
}

QList<SnoozeOption> AlertPresenter::snoozeOptions() const
{
    QList<SnoozeOption> options;
    const QDateTime &start = m_event.startDate();
    if (m_appearance.snoozeStyle == SnoozeStyle::relative) {
        for (const int minutes : m_relativeSnoozeMinutes) {
            if (wholeSecondsBetween(m_currentTime.addSecs(qint64{minutes} * 60), start) >= minimumSnoozeLeadSeconds) {
                options.append({minutes, tr("%n min", nullptr, minutes)});
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
