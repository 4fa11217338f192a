#include "calendarlistmodel.h"

#include "menubarpresenter.h"
#include "preferences/preferencesmanager.h"

#include <QPointer>

namespace bellwick {

CalendarListModel::CalendarListModel(PreferencesManager &preferences, EdsCalendarProvider &store, QObject *parent)
    : QAbstractListModel(parent), m_preferences(preferences), m_store(store)
{
    connect(&m_preferences, &PreferencesManager::enabledCalendarIDsChanged, this, [this] {
        if (!m_calendars.isEmpty()) {
            Q_EMIT dataChanged(index(0), index(rowCount() - 1), {checkedRole});
        }
    });
    // Once shown, the list follows calendars added or removed elsewhere, and the registry filling in late.
    connect(&m_store, &EdsCalendarProvider::storeChanged, this, [this] {
        if (m_loaded) {
            loadCalendars();
        }
    });
}

void CalendarListModel::loadCalendars()
{
    // Runs on by itself; it checks that the model is still there when the answer comes.
    (void)reload();
}

QCoro::Task<> CalendarListModel::reload()
{
    const QPointer self(this);
    QList<CalendarInfo> calendars;
    try {
        calendars = co_await m_store.listCalendars();
    } catch (...) {
        // A store that cannot be reached lists nothing; the status row says why.
    }
    if (!self) {
        co_return;
    }
    if (m_loaded && calendars == m_calendars) {
        co_return;
    }
    const bool showedNone = showsNoCalendars();
    beginResetModel();
    m_calendars = std::move(calendars);
    m_loaded = true;
    endResetModel();
    if (showsNoCalendars() != showedNone) {
        Q_EMIT showsNoCalendarsChanged();
    }
}

void CalendarListModel::setCalendarEnabled(const QString &identifier, bool enabled)
{
    QSet<QString> selected;
    if (const auto &stored = m_preferences.enabledCalendarIDs()) {
        selected = *stored;
    } else {
        for (const CalendarInfo &calendar : std::as_const(m_calendars)) {
            selected.insert(calendar.identifier);
        }
    }
    if (enabled) {
        selected.insert(identifier);
    } else {
        selected.remove(identifier);
    }
    m_preferences.setEnabledCalendarIDs(selected);
}

bool CalendarListModel::isChecked(const QString &identifier) const
{
    const auto &stored = m_preferences.enabledCalendarIDs();
    return !stored || stored->contains(identifier);
}

int CalendarListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_calendars.size());
}

QVariant CalendarListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const CalendarInfo &calendar = m_calendars.at(index.row());
    switch (role) {
    case identifierRole:
        return calendar.identifier;
    case titleRole:
        return calendar.title;
    case colorRole:
        return calendarDotColor(calendar.color);
    case checkedRole:
        return isChecked(calendar.identifier);
    default:
        return {};
    }
}

QHash<int, QByteArray> CalendarListModel::roleNames() const
{
    return {{identifierRole, "identifier"}, {titleRole, "title"}, {colorRole, "color"}, {checkedRole, "checked"}};
}

} // namespace bellwick
