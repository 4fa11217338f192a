#pragma once

#include "calendar/democalendarprovider.h"
#include "files.h"
#include "monitoring/eventmonitor.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "platform/manualclock.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <chrono>
#include <memory>

namespace bellwick::test {

// A source answering from a list, after a delay on the monitor's clock, that announces changes when told to.
class ScriptedProvider : public DemoCalendarProvider
{
public:
    ScriptedProvider(Clock &clock, const QString &id, const QString &name = {})
        : DemoCalendarProvider(clock, id, name), m_clock(clock)
    { }

    QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override
    {
        if (m_delay.count() > 0) {
            co_await m_clock.sleep(m_delay);
        }
        co_return co_await DemoCalendarProvider::fetchEvents(from, to);
    }

    void setAnswerDelay(std::chrono::milliseconds delay) { m_delay = delay; }
    void announceChange() const { notifyChanged(); }

private:
    Clock &m_clock;
    std::chrono::milliseconds m_delay{0};
};

// An event monitor on a manual clock, with its own settings file and scripted providers.
class MonitorHarness
{
public:
    // `storedSettings` is the settings file's JSON text before the preferences read it.
    explicit MonitorHarness(const QDateTime &start, const QByteArray &storedSettings = {})
        : clock(start)
        , m_defaults(prepareSettings(m_folder, storedSettings))
        , m_login(m_folder.filePath(QStringLiteral("bin")))
    {
        monitor.setOnEventApproaching([this](const CalendarEvent &event) {
            reported.append(event);
            reportTimes.append(clock.now());
        });
        QObject::connect(&monitor, &EventMonitor::lastFetchTimeChanged, &monitor,
                         [this] { fetchTimes.append(monitor.lastFetchTime()); });
    }

    ScriptedProvider &addProvider(const QString &id, const QString &name = {})
    {
        providers.push_back(std::make_unique<ScriptedProvider>(clock, id, name));
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

    // When each report came, and when each fetch completed, in seconds from `origin`.
    [[nodiscard]] QList<double> reportSeconds(const QDateTime &origin) const
    {
        return secondsFrom(origin, reportTimes);
    }
    [[nodiscard]] QList<double> fetchSeconds(const QDateTime &origin) const { return secondsFrom(origin, fetchTimes); }

    ManualClock clock;

private:
    QTemporaryDir m_folder;
    UserDefaults m_defaults;
    AutostartLoginItem m_login;
    DockPresence m_dock;

public:
    PreferencesManager preferences{m_defaults, m_login, m_dock};
    std::vector<std::unique_ptr<ScriptedProvider>> providers;
    EventMonitor monitor{clock, preferences};
    QList<CalendarEvent> reported;
    QList<QDateTime> reportTimes;
    QList<QDateTime> fetchTimes;

private:
    static QList<double> secondsFrom(const QDateTime &origin, const QList<QDateTime> &times)
    {
        QList<double> seconds;
        for (const QDateTime &at : times) {
            seconds.append(double(origin.msecsTo(at)) / 1000);
        }
        return seconds;
    }

    static QString prepareSettings(const QTemporaryDir &folder, const QByteArray &json)
    {
        const QString path = folder.filePath(QStringLiteral("settings.json"));
        if (!json.isEmpty()) {
            writeFile(path, json);
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
