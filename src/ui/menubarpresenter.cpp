#include "menubarpresenter.h"

#include "app/appstate.h"
#include "platform/clock.h"

#include <QGuiApplication>
#include <QLocale>
#include <QPalette>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

constexpr qint64 soonMinutes = 6;

} // namespace

QColor panelColor(PanelColor color)
{
    switch (color) {
    case PanelColor::green:
        return QColor(0x2e, 0xc2, 0x7e);
    case PanelColor::gray:
        return QColor(0x9a, 0x99, 0x96);
    case PanelColor::red:
        return QColor(0xe0, 0x1b, 0x24);
    case PanelColor::orange:
        return QColor(0xe6, 0x61, 0x00);
    case PanelColor::blue:
        return QColor(0x35, 0x84, 0xe4);
    case PanelColor::secondary:
        break;
    }
    // Text faded toward the background: some desktops' dark palettes give a placeholder colour too dim to read.
    const QPalette palette = QGuiApplication::palette();
    const QColor text = palette.color(QPalette::WindowText);
    const QColor background = palette.color(QPalette::Window);
    constexpr float weight = 0.6F;
    return QColor::fromRgbF(text.redF() * weight + background.redF() * (1 - weight),
                            text.greenF() * weight + background.greenF() * (1 - weight),
                            text.blueF() * weight + background.blueF() * (1 - weight));
}

QColor calendarDotColor(const std::optional<CalendarColor> &color)
{
    if (!color) {
        return panelColor(PanelColor::blue);
    }
    return QColor::fromRgbF(static_cast<float>(color->red), static_cast<float>(color->green),
                            static_cast<float>(color->blue));
}

qint64 minutesUntilStart(const QDateTime &start, const QDateTime &now)
{
    return now.msecsTo(start) / 60'000;
}

QString timeText(const QDateTime &start)
{
    return QLocale::system().toString(start.toLocalTime().time(), QLocale::ShortFormat);
}

QString relativeTimeText(qint64 minutesUntilStart)
{
    if (minutesUntilStart < 0) {
        return MenuBarPresenter::tr("now");
    }
    if (minutesUntilStart < 60) {
        return MenuBarPresenter::tr("%nm", nullptr, static_cast<int>(minutesUntilStart));
    }
    return MenuBarPresenter::tr("%nh", nullptr, static_cast<int>(minutesUntilStart / 60));
}

PanelColor timeColor(const QDateTime &start, const QDateTime &now)
{
    if (start <= now) {
        return PanelColor::red;
    }
    return minutesUntilStart(start, now) < soonMinutes ? PanelColor::orange : PanelColor::secondary;
}

PanelColor statusColor(const std::optional<ProviderStatus> &status)
{
    if (!status) {
        return PanelColor::gray;
    }
    switch (status->kind()) {
    case ProviderStatus::Kind::connected:
        return PanelColor::green;
    case ProviderStatus::Kind::disconnected:
        return PanelColor::gray;
    case ProviderStatus::Kind::permissionDenied:
        return PanelColor::red;
    case ProviderStatus::Kind::error:
        break;
    }
    return PanelColor::orange;
}

PanelColor statusColor(const QMap<QString, ProviderStatus> &statuses)
{
    const auto system = statuses.constFind(systemCalendarStatusKey);
    const PanelColor color = statusColor(system == statuses.cend() ? std::nullopt : std::optional(*system));
    const bool anyError = std::any_of(statuses.cbegin(), statuses.cend(), [](const ProviderStatus &status) {
        return status.kind() == ProviderStatus::Kind::error;
    });
    return anyError && color != PanelColor::red ? PanelColor::orange : color;
}

void UpcomingEventsModel::update(const QList<CalendarEvent> &events, const QDateTime &now)
{
    const QList<CalendarEvent> shown = events.first(std::min(events.size(), maximumRows));
    m_now = now;
    // The same events only change their times: the rows stay, so a row under the pointer keeps its state.
    const bool sameRows = std::equal(shown.cbegin(), shown.cend(), m_events.cbegin(), m_events.cend(),
                                     [](const auto &a, const auto &b) { return a.id() == b.id(); });
    if (sameRows) {
        m_events = shown;
        if (!m_events.isEmpty()) {
            Q_EMIT dataChanged(index(0), index(rowCount() - 1));
        }
        return;
    }
    beginResetModel();
    m_events = shown;
    endResetModel();
}

int UpcomingEventsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_events.size());
}

QVariant UpcomingEventsModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const CalendarEvent &event = m_events.at(index.row());
    switch (role) {
    case titleRole:
        return event.title();
    case timeTextRole:
        return timeText(event.startDate());
    case relativeTimeTextRole:
        return relativeTimeText(minutesUntilStart(event.startDate(), m_now));
    case timeColorRole:
        return panelColor(timeColor(event.startDate(), m_now));
    case dotColorRole:
        return calendarDotColor(event.calendarColor());
    case hasMeetingLinkRole:
        return event.meetingURL().has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> UpcomingEventsModel::roleNames() const
{
    return {{titleRole, "title"},         {timeTextRole, "timeText"}, {relativeTimeTextRole, "relativeTimeText"},
            {timeColorRole, "timeColor"}, {dotColorRole, "dotColor"}, {hasMeetingLinkRole, "hasMeetingLink"}};
}

MenuBarPresenter::MenuBarPresenter(AppState &appState, Clock &clock, QObject *parent)
    : QObject(parent), m_appState(appState), m_clock(clock)
{
    connect(&m_appState, &AppState::upcomingEventsChanged, this, &MenuBarPresenter::update);
    connect(&m_appState, &AppState::providerStatusesChanged, this, &MenuBarPresenter::statusColorChanged);
    update();
}

MenuBarPresenter::~MenuBarPresenter() = default;

QColor MenuBarPresenter::statusColor() const
{
    return panelColor(bellwick::statusColor(m_appState.providerStatuses()));
}

bool MenuBarPresenter::hasEvents() const
{
    return !m_appState.upcomingEvents().isEmpty();
}

QString MenuBarPresenter::moreText() const
{
    const qsizetype hidden = m_appState.upcomingEvents().size() - UpcomingEventsModel::maximumRows;
    return hidden > 0 ? tr("+ %n more", nullptr, static_cast<int>(hidden)) : QString();
}

void MenuBarPresenter::setLive(bool live)
{
    if (!live) {
        m_ticks.reset();
        return;
    }
    update();
    m_ticks = m_clock.callEvery(1s, [this] { update(); });
}

void MenuBarPresenter::update()
{
    m_events.update(m_appState.upcomingEvents(), m_clock.now());
    Q_EMIT eventsChanged();
}

void MenuBarPresenter::refresh()
{
    m_appState.refresh();
}

void MenuBarPresenter::showSettings()
{
    m_appState.showSettings();
}

void MenuBarPresenter::quit()
{
    m_appState.quit();
}

} // namespace bellwick
