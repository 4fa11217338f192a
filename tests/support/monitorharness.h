#pragma once

#include "calendar/democalendarprovider.h"
#include "monitoring/eventmonitor.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/manualclock.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <memory>

namespace bellwick::test {

// An event monitor on a manual clock, with its own settings file and scripted providers.
class MonitorHarness
{
public:
    struct Report {
        QDateTime at;
        CalendarEvent event;
    };

    // `storedSettings` is the settings file's JSON text before the preferences read it.
    explicit MonitorHarness(const QDateTime &start, const QByteArray &storedSettings = {})
        : clock(start)
        , m_defaults(prepareSettings(m_folder, storedSettings))
        , m_login(m_folder.filePath(QStringLiteral("bin")))
    {
        monitor.setOnEventApproaching([this](const CalendarEvent &event) { reports.append({clock.now(), event}); });
    }

    DemoCalendarProvider &addProvider(const QString &id, const QString &name)
    {
        providers.push_back(std::make_unique<DemoCalendarProvider>(clock, id, name));
        return *providers.back();
    }

    void start()
    {
        QList<CalendarProvider *> list;
        for (const auto &provider : providers) {
            list.append(provider.get());
        }
        monitor.startMonitoring(list);
        settle();
    }

    // Runs the calls the monitor queued; none of its chains is longer than a few hops.
    static void settle()
    {
        for (int round = 0; round < 4; ++round) {
            QCoreApplication::sendPostedEvents();
        }
    }

    // Advances timer by timer, letting queued work run at each deadline as a real event loop would.
    void runUntil(const QDateTime &target)
    {
        settle();
        for (auto next = clock.nextDeadline(); next && *next <= target; next = clock.nextDeadline()) {
            clock.advanceTo(*next);
            settle();
        }
        clock.advanceTo(target);
        settle();
    }

    void run(std::chrono::milliseconds duration) { runUntil(clock.now().addMSecs(duration.count())); }

    ManualClock clock;

private:
    QTemporaryDir m_folder;
    UserDefaults m_defaults;
    AutostartLoginItem m_login;
    DockPresence m_dock;

public:
    PreferencesManager preferences{m_defaults, m_login, m_dock};
    std::vector<std::unique_ptr<DemoCalendarProvider>> providers;
    EventMonitor monitor{clock, preferences};
    QList<Report> reports;

private:
    static QString prepareSettings(const QTemporaryDir &folder, const QByteArray &json)
    {
        const QString path = folder.filePath(QStringLiteral("settings.json"));
        if (!json.isEmpty()) {
            QFile file(path);
            if (file.open(QIODevice::WriteOnly)) {
                file.write(json);
            }
        }
        return path;
    }
};

inline CalendarEvent makeEvent(const QString &providerID, const QString &id, const QDateTime &start,
                               qint64 durationSeconds = 30 * 60, bool isAllDay = false)
{
    return CalendarEvent({
        .providerID = providerID,
        .originalID = id,
        .title = id,
        .startDate = start,
        .endDate = start.addSecs(durationSeconds),
        .isAllDay = isAllDay,
    });
}

} // namespace bellwick::test
