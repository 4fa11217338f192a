#pragma once

#include "app/appstate.h"
#include "monitorharness.h"
#include "monitoring/alertmanager.h"
#include "platform/soundplayer.h"
#include "platform/urlopener.h"

#include <QStringList>

namespace bellwick::test {

// Stands in for the desktop's link handler.
class RecordingUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override { opened.append(url); }

    QList<QUrl> opened;
};

// Stands in for the sound output.
class RecordingSoundPlayer : public SoundPlayer
{
public:
    void play(const QString &name) override { played.append(name); }

    QStringList played;
};

// The system calendar as a script: it notes each call in a shared log and grants access or not.
class ScriptedCalendar : public ScriptedProvider
{
public:
    ScriptedCalendar(Clock &clock, QStringList &log)
        : ScriptedProvider(clock, QStringLiteral("eventkit"), QStringLiteral("System Calendar")), m_log(log)
    { }

    QCoro::Task<bool> requestAccess() override
    {
        m_log.append(QStringLiteral("access"));
        co_return granted;
    }

    QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override
    {
        m_log.append(QStringLiteral("fetch"));
        co_return co_await ScriptedProvider::fetchEvents(from, to);
    }

    bool granted = true;

private:
    QStringList &m_log;
};

// The application state on a manual clock, with a real alert manager and monitor over one scripted calendar; the
// log also notes when monitoring starts.
class AppHarness : public MonitorHarness
{
public:
    // Microsoft 365 is reached at `outlook`, a local server in tests that use it.
    explicit AppHarness(const QDateTime &start, const QByteArray &storedSettings = {}, OutlookEndpoints outlook = {})
        : MonitorHarness(start, storedSettings), m_start(start), m_outlook(std::move(outlook))
    {
        auto scripted = std::make_unique<ScriptedCalendar>(clock, log);
        calendar = scripted.get();
        providers.push_back(std::move(scripted));
        QObject::connect(&monitor, &EventMonitor::isRunningChanged, &monitor,
                         [this] { log.append(QStringLiteral("monitoring")); });
        rebuild();
    }

    // A new application state over the same parts, as after a restart.
    void rebuild()
    {
        app.reset();
        app = std::make_unique<AppState>(clock, preferences, alerts, monitor, QList<CalendarProvider *>{calendar},
                                         opener, sound, m_outlook);
        QObject::connect(app.get(), &AppState::activeAlertChanged, app.get(), [this] {
            if (const auto &alert = app->activeAlert()) {
                shown.append(alert->originalID() + u'@' + QString::number(m_start.secsTo(clock.now())));
            }
        });
    }

    void launch()
    {
        app->start();
        settle();
    }

    QStringList log;
    // Each alert put on screen, as "event@seconds from the start".
    QStringList shown;
    ScriptedCalendar *calendar = nullptr;
    AlertManager alerts{clock};
    RecordingUrlOpener opener;
    RecordingSoundPlayer sound;
    std::unique_ptr<AppState> app;

private:
    QDateTime m_start;
    OutlookEndpoints m_outlook;
};

} // namespace bellwick::test
