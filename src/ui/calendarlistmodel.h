#pragma once

#include "calendar/eds/edscalendarprovider.h"

#include <QAbstractListModel>
#include <QCoroTask>

namespace bellwick {

class PreferencesManager;

// The calendars offered for monitoring, in the store's order, each ticked when the user monitors it: all of them
// while no choice is stored, else those of the stored set.
class CalendarListModel : public QAbstractListModel
{
    Q_OBJECT
    // A listing came back with no calendar, or failed.
    Q_PROPERTY(bool showsNoCalendars READ showsNoCalendars NOTIFY showsNoCalendarsChanged)

public:
    enum Role { identifierRole = Qt::UserRole + 1, titleRole, colorRole, checkedRole };

    CalendarListModel(PreferencesManager &preferences, EdsCalendarProvider &store, QObject *parent = nullptr);

    [[nodiscard]] bool showsNoCalendars() const { return m_loaded && m_calendars.isEmpty(); }

    // Lists the store's calendars again, off the GUI thread; the rows change when the answer differs.
    Q_INVOKABLE void loadCalendars();
    // The first switch turns "every calendar" into an explicit set, which then keeps calendars no longer listed.
    Q_INVOKABLE void setCalendarEnabled(const QString &identifier, bool enabled);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void showsNoCalendarsChanged();

private:
    QCoro::Task<> reload();
    [[nodiscard]] bool isChecked(const QString &identifier) const;

    PreferencesManager &m_preferences;
    EdsCalendarProvider &m_store;
    QList<CalendarInfo> m_calendars;
    bool m_loaded = false;
};

} // namespace bellwick
