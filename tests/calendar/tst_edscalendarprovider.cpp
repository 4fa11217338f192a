#include "calendar/calendarprovidererror.h"
#include "calendar/eds/edscalendarprovider.h"
#include "calendar/eds/glibhandles.h"
#include "capturedoutput.h"
#include "files.h"
#include "platform/manualclock.h"
#include "tasks.h"
#include "timezone.h"

#include <QColor>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

using namespace bellwick;
using namespace Qt::StringLiterals;

namespace {

using IDs = std::optional<QSet<QString>>;

QDateTime utc(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
}

QStringList describe(const QList<CalendarEvent> &events)
{
    QStringList lines;
    for (const CalendarEvent &event : events) {
        lines << event.originalID() + u' ' + event.startDate().toString(Qt::ISODate) + u' '
                     + event.endDate().toString(Qt::ISODate) + u' ' + event.title()
                     + (event.isAllDay() ? u" (all day)" : u"");
    }
    return lines;
}

QStringList titles(const QList<CalendarEvent> &events)
{
    QStringList out;
    for (const CalendarEvent &event : events) {
        out << event.title();
    }
    return out;
}

void copyTree(const QString &from, const QString &to)
{
    QDirIterator files(from, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        const QString target = to + u'/' + QDir(from).relativeFilePath(file);
        QVERIFY(QDir().mkpath(QFileInfo(target).path()));
        QVERIFY(QFile::copy(file, target));
    }
}

QByteArray localCalendarSource(const QByteArray &name, const QByteArray &backend = "local")
{
    return "[Data Source]\nDisplayName=" + name + "\nEnabled=true\nParent=" + backend
           + "-stub\n\n[Calendar]\nBackendName=" + backend + "\n";
}

// Only this session's calendar factories, whose command line holds `part`: other test sessions may run beside this.
QList<pid_t> calendarFactories(const QByteArray &part = "evolution-calendar-factory")
{
    const QByteArray marker = "BELLWICK_SESSION=" + qgetenv("BELLWICK_SESSION");
    QList<pid_t> found;
    for (const QString &entry : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool isPid = false;
        const pid_t pid = entry.toInt(&isPid);
        QFile cmdline(u"/proc/" + entry + u"/cmdline");
        QFile environment(u"/proc/" + entry + u"/environ");
        if (isPid && cmdline.open(QIODevice::ReadOnly) && environment.open(QIODevice::ReadOnly)
            && cmdline.readAll().replace('\0', ' ').contains(part)
            && environment.readAll().split('\0').contains(marker)) {
            found << pid;
        }
    }
    return found;
}

void signalAll(const QList<pid_t> &pids, int signal)
{
    for (const pid_t pid : pids) {
        ::kill(pid, signal);
    }
}

// Stops processes for one scope and lets them go on however the scope is left.
class Stopped
{
public:
    explicit Stopped(QList<pid_t> pids) : m_pids(std::move(pids)) { signalAll(m_pids, SIGSTOP); }
    ~Stopped() { signalAll(m_pids, SIGCONT); }
    Stopped(const Stopped &) = delete;
    Stopped &operator=(const Stopped &) = delete;

private:
    QList<pid_t> m_pids;
};

// Runs `action` and waits for the calendar factory's bus name to come or go.
bool factoryChanges(QDBusServiceWatcher::WatchMode change, const std::function<void()> &action)
{
    QDBusServiceWatcher watcher(u"org.gnome.evolution.dataserver.Calendar8"_s, QDBusConnection::sessionBus(), change);
    QSignalSpy changed(&watcher, change == QDBusServiceWatcher::WatchForRegistration
                                     ? &QDBusServiceWatcher::serviceRegistered
                                     : &QDBusServiceWatcher::serviceUnregistered);
    action();
    return changed.wait(10'000);
}

bool killCalendarFactories()
{
    const QList<pid_t> factories = calendarFactories();
    return !factories.isEmpty()
           && factoryChanges(QDBusServiceWatcher::WatchForUnregistration, [&] { signalAll(factories, SIGKILL); });
}

// Some distributions run each calendar backend in a process of its own; then one backend can stop alone.
bool startFactoryWithProcessPerBackend()
{
    killCalendarFactories();
    return factoryChanges(QDBusServiceWatcher::WatchForRegistration, [] {
        QProcess::startDetached(u"/usr/libexec/evolution-calendar-factory"_s, {u"-b"_s, u"1"_s, u"-r"_s});
    });
}

} // namespace

class EdsCalendarProviderTest : public QObject
{
    Q_OBJECT

    ManualClock m_clock{utc("2026-03-01T00:00:00Z")};
    std::unique_ptr<EdsCalendarProvider> m_provider;
    QDateTime m_dailyStart;
    QString m_sources;

    QList<CalendarEvent> fetch(IDs included, const QDateTime &from, const QDateTime &to, QSet<QString> excluded = {},
                               bool allDay = false, int minimumMinutes = 0, EdsCalendarProvider *provider = nullptr)
    {
        EdsCalendarProvider &fetching = provider ? *provider : *m_provider;
        fetching.setConfig({24, allDay, std::move(included), std::move(excluded), minimumMinutes});
        return test::runTask(fetching.fetchEvents(from, to));
    }

    // An EDS client of the test's own, to change a calendar as another program would.
    static GObjectPtr<ECalClient> client(const char *uid)
    {
        const GObjectPtr<ESourceRegistry> registry(e_source_registry_new_sync(nullptr, nullptr));
        const GObjectPtr<ESource> source(e_source_registry_ref_source(registry.get(), uid));
        return GObjectPtr<ECalClient>(reinterpret_cast<ECalClient *>(e_cal_client_connect_sync(
            source.get(), E_CAL_CLIENT_SOURCE_TYPE_EVENTS, static_cast<guint32>(-1), nullptr, nullptr)));
    }

    // Whether the provider reports a change after `change`; the registry takes seconds to see a new calendar.
    static bool noticed(EdsCalendarProvider &provider, const std::function<void()> &change)
    {
        QEventLoop loop;
        bool reported = false;
        provider.setChangeHandler([&] {
            reported = true;
            loop.quit();
        });
        change();
        if (!reported) {
            QTimer::singleShot(10'000, &loop, &QEventLoop::quit);
            loop.exec();
        }
        provider.setChangeHandler({});
        return reported;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION")) {
            QSKIP("seeds the calendar store, so it runs only inside scripts/session");
        }
        test::pinTimeZone("America/New_York");
        m_provider = std::make_unique<EdsCalendarProvider>(m_clock);
        if (qEnvironmentVariableIsSet("BELLWICK_UNREACHABLE_STORE")) {
            return;
        }
        m_sources = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/evolution/sources";
        const QString data = qEnvironmentVariable("XDG_DATA_HOME") + u"/evolution/calendar";
        copyTree(QStringLiteral(BELLWICK_EDS_FIXTURES "/sources"), m_sources);
        copyTree(QStringLiteral(BELLWICK_EDS_FIXTURES "/calendar"), data);
        // The local backend cannot open a calendar whose folder is a file.
        QVERIFY(test::writeFile(data + u"/bw-broken", "not a folder"));
        // A birthday calendar runs in a backend process of its own when backends get one each.
        QVERIFY(test::writeFile(m_sources + u"/bw-stalled.source", localCalendarSource("Stalled", "contacts")));
        QVERIFY(test::writeFile(m_sources + u"/bw-live.source", localCalendarSource("Live")));

        // A daily series around the real clock, for the listing of the next 24 hours.
        m_dailyStart = QDateTime::currentDateTimeUtc().addDays(-2).addSecs(7200);
        m_dailyStart.setTime(QTime(m_dailyStart.time().hour(), m_dailyStart.time().minute()));
        QVERIFY(test::writeFile(m_sources + u"/bw-daily.source", localCalendarSource("Daily")));
        QVERIFY(
            test::writeFile(data + u"/bw-daily/calendar.ics",
                            "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:daily\nDTSTAMP:20260101T000000Z\nDTSTART:"
                                + m_dailyStart.toString(u"yyyyMMdd'T'HHmm'00Z'"_s).toLatin1()
                                + "\nDURATION:PT15M\nRRULE:FREQ=DAILY;COUNT=10\nSUMMARY:Daily check-in\n"
                                  "LOCATION:https://us02web.zoom.us/j/81234567890\nEND:VEVENT\nEND:VCALENDAR\n"));
    }

    void cleanup() { test::pinTimeZone("America/New_York"); }

    void cleanupTestCase() { m_provider.reset(); }

    // GDBus keeps a failed connection to the session bus for a while, so the store is out of reach in a run of its own.
    void accessFollowsTheStore()
    {
        if (qEnvironmentVariableIsSet("BELLWICK_UNREACHABLE_STORE")) {
            QVERIFY_THROWS_EXCEPTION(CalendarProviderError,
                                     fetch(QSet<QString>{}, utc("2026-05-04T00:00:00Z"), utc("2026-05-05T00:00:00Z")));
            QVERIFY(!test::runTask(m_provider->isAuthorized()));
            test::CapturedOutput output;
            const bool granted = test::runTask(m_provider->requestAccess());
            const QStringList lines = output.lines();
            QVERIFY(!granted);
            QCOMPARE(lines.size(), 1);
            QVERIFY2(lines.at(0).startsWith(u"EventKit access request failed: "), qPrintable(lines.at(0)));
            return;
        }
        QProcess run;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        environment.insert(u"BELLWICK_UNREACHABLE_STORE"_s, u"1"_s);
        run.setProcessEnvironment(environment);
        run.start(QCoreApplication::applicationFilePath(), {u"accessFollowsTheStore"_s});
        QVERIFY(run.waitForFinished(30'000));
        QVERIFY2(run.exitCode() == 0, run.readAllStandardOutput().constData());
        QVERIFY(test::runTask(m_provider->isAuthorized()));
        QVERIFY(test::runTask(m_provider->requestAccess()));
    }

    void fetchedEvents_data()
    {
        QTest::addColumn<QString>("calendar");
        QTest::addColumn<QDateTime>("from");
        QTest::addColumn<QDateTime>("to");
        QTest::addColumn<bool>("allDay");
        QTest::addColumn<int>("minimumMinutes");
        QTest::addColumn<QStringList>("expected");

        // 09:00 Berlin is 08:00 UTC before 29 March and 07:00 after; the 16th is cancelled, the 23rd moved.
        QTest::newRow("weekly series across daylight saving")
            << u"bw-series"_s << utc("2026-03-01T00:00:00Z") << utc("2026-05-01T00:00:00Z") << false << 0
            << QStringList{
                   u"standup_20260302T080000Z 2026-03-02T08:00:00Z 2026-03-02T08:30:00Z Standup"_s,
                   u"standup_20260309T080000Z 2026-03-09T08:00:00Z 2026-03-09T08:30:00Z Standup"_s,
                   u"standup_20260323T080000Z 2026-03-24T13:00:00Z 2026-03-24T13:30:00Z Standup (moved)"_s,
                   u"standup_20260330T070000Z 2026-03-30T07:00:00Z 2026-03-30T07:30:00Z Standup"_s,
                   u"standup_20260406T070000Z 2026-04-06T07:00:00Z 2026-04-06T07:30:00Z Standup"_s,
               };
        QTest::newRow("moved two days later: not in its old slot")
            << u"bw-moved"_s << utc("2026-07-13T00:00:00Z") << utc("2026-07-14T00:00:00Z") << false << 0
            << QStringList{};
        QTest::newRow("moved two days later: in its new slot")
            << u"bw-moved"_s << utc("2026-07-15T00:00:00Z") << utc("2026-07-16T00:00:00Z") << false << 0
            << QStringList{u"weekly_20260713T090000Z 2026-07-15T09:00:00Z 2026-07-15T09:30:00Z Two days later"_s};
        QTest::newRow("moved two days earlier, and one moved here from a week later")
            << u"bw-moved"_s << utc("2026-07-18T00:00:00Z") << utc("2026-07-21T00:00:00Z") << false << 0
            << QStringList{
                   u"weekly_20260720T090000Z 2026-07-18T09:00:00Z 2026-07-18T09:30:00Z Two days earlier"_s,
                   u"weekly_20260727T090000Z 2026-07-20T15:00:00Z 2026-07-20T15:30:00Z A week earlier"_s,
               };
        QTest::newRow("moved a week earlier: not in its old slot")
            << u"bw-moved"_s << utc("2026-07-27T00:00:00Z") << utc("2026-07-28T00:00:00Z") << false << 0
            << QStringList{};
        // The user is me@example.com by a mail account; Invites names its own address.
        QTest::newRow("cancelled, declined, to-dos and journals are no meetings")
            << u"bw-status"_s << utc("2026-08-01T00:00:00Z") << utc("2026-08-03T00:00:00Z") << false << 0
            << QStringList{
                   u"daily_20260801T110000Z 2026-08-01T11:00:00Z 2026-08-01T11:30:00Z Daily"_s,
                   u"accepted 2026-08-01T13:00:00Z 2026-08-01T13:30:00Z Declined by another"_s,
               };
        QTest::newRow("the calendar's own address is the user's")
            << u"bw-invites"_s << utc("2026-08-01T00:00:00Z") << utc("2026-08-02T00:00:00Z") << false << 0
            << QStringList{u"me-declined 2026-08-01T10:00:00Z 2026-08-01T10:30:00Z Declined by a mail identity"_s};
        QTest::newRow("a series occurrence and an event named like it")
            << u"bw-a"_s << utc("2026-05-05T12:00:00Z") << utc("2026-05-05T14:00:00Z") << false << 0
            << QStringList{
                   u"clash_20260505T120000Z 2026-05-05T12:00:00Z 2026-05-05T12:30:00Z Clash series"_s,
                   u"clash%5F20260505T120000Z 2026-05-05T13:00:00Z 2026-05-05T13:30:00Z Clash single"_s,
               };
        QTest::newRow("all-day left out") << u"bw-misc"_s << utc("2026-06-01T00:00:00Z") << utc("2026-06-04T12:00:00Z")
                                          << false << 0 << QStringList{};
        // New York midnight; a date without an end lasts one day, 23 hours when the clocks go forward.
        QTest::newRow("all-day included")
            << u"bw-misc"_s << utc("2026-06-01T00:00:00Z") << utc("2026-06-04T12:00:00Z") << true << 0
            << QStringList{
                   u"holiday 2026-06-01T04:00:00Z 2026-06-02T04:00:00Z Holiday (all day)"_s,
                   u"day-off 2026-06-03T04:00:00Z 2026-06-04T04:00:00Z Day off (all day)"_s,
               };
        QTest::newRow("all-day on the day the clocks change")
            << u"bw-misc"_s << utc("2026-03-08T12:00:00Z") << utc("2026-03-08T13:00:00Z") << true << 0
            << QStringList{u"clocks-change 2026-03-08T05:00:00Z 2026-03-09T04:00:00Z Clocks change (all day)"_s};
        QTest::newRow("minimum duration keeps exactly 15 minutes")
            << u"bw-misc"_s << utc("2026-06-05T00:00:00Z") << utc("2026-06-06T00:00:00Z") << false << 15
            << QStringList{u"quarter 2026-06-05T12:00:00Z 2026-06-05T12:15:00Z Quarter"_s};
        QTest::newRow("no minimum duration")
            << u"bw-misc"_s << utc("2026-06-05T00:00:00Z") << utc("2026-06-06T00:00:00Z") << false << 0
            << QStringList{
                   u"short 2026-06-05T10:00:00Z 2026-06-05T10:14:59Z Short"_s,
                   u"quarter 2026-06-05T12:00:00Z 2026-06-05T12:15:00Z Quarter"_s,
               };
        // A floating time is New York wall time; an unknown zone is read the same way; no valid start, no event.
        QTest::newRow("odd shapes") << u"bw-misc"_s << utc("2026-06-08T00:00:00Z") << utc("2026-06-09T00:00:00Z")
                                    << false << 0
                                    << QStringList{
                                           u"zoom 2026-06-08T10:00:00Z 2026-06-08T10:30:00Z Zoom call"_s,
                                           u"untitled 2026-06-08T11:00:00Z 2026-06-08T11:30:00Z Untitled Event"_s,
                                           u"start-only 2026-06-08T12:00:00Z 2026-06-08T12:00:00Z Start only"_s,
                                           u"with-duration 2026-06-08T13:00:00Z 2026-06-08T13:45:00Z With duration"_s,
                                           u"floating 2026-06-08T18:00:00Z 2026-06-08T18:30:00Z Floating"_s,
                                           u"unknown-zone 2026-06-08T19:00:00Z 2026-06-08T19:30:00Z Unknown zone"_s,
                                       };
        // EDS 3.46 matches dates and floating times to the window as if they were UTC.
        QTest::newRow("floating time matched in the user's zone")
            << u"bw-misc"_s << utc("2026-06-08T17:00:00Z") << utc("2026-06-08T19:00:00Z") << false << 0
            << QStringList{u"floating 2026-06-08T18:00:00Z 2026-06-08T18:30:00Z Floating"_s};
        QTest::newRow("all-day event's local evening")
            << u"bw-misc"_s << utc("2026-06-02T02:00:00Z") << utc("2026-06-02T03:00:00Z") << true << 0
            << QStringList{u"holiday 2026-06-01T04:00:00Z 2026-06-02T04:00:00Z Holiday (all day)"_s};
        QTest::newRow("in progress kept, ended at the start not")
            << u"bw-misc"_s << utc("2026-06-10T10:00:00Z") << utc("2026-06-10T12:00:00Z") << false << 0
            << QStringList{u"in-progress 2026-06-10T09:00:00Z 2026-06-10T11:00:00Z In progress"_s};
    }

    void fetchedEvents()
    {
        QFETCH(QString, calendar);
        QFETCH(QDateTime, from);
        QFETCH(QDateTime, to);
        QFETCH(bool, allDay);
        QFETCH(int, minimumMinutes);
        QFETCH(QStringList, expected);

        QCOMPARE(describe(fetch(QSet{calendar}, from, to, {}, allDay, minimumMinutes)), expected);
    }

    void eventFields()
    {
        const QList<CalendarEvent> misc =
            fetch(QSet{u"bw-misc"_s}, utc("2026-06-08T10:00:00Z"), utc("2026-06-08T11:30:00Z"));
        QCOMPARE(misc.size(), 2);
        QCOMPARE(misc.at(0).id(), u"eventkit_zoom"_s);
        QCOMPARE(misc.at(0).notes(), u"Quarterly planning"_s);
        QCOMPARE(misc.at(0).location(), u"https://us02web.zoom.us/j/81234567890"_s);
        QCOMPARE(misc.at(0).calendarName(), u"Misc"_s);
        QCOMPARE(misc.at(1).notes(), std::nullopt);
        QCOMPARE(misc.at(1).location(), std::nullopt);

        const QList<CalendarEvent> series =
            fetch(QSet{u"bw-series"_s}, utc("2026-03-02T00:00:00Z"), utc("2026-03-03T00:00:00Z"));
        QCOMPARE(series.size(), 1);
        QCOMPARE(series.at(0).calendarName(), u"Team"_s);
        QCOMPARE(series.at(0).calendarColor(), (CalendarColor{0x34 / 255.0, 0x65 / 255.0, 0xa4 / 255.0, 1.0}));
    }

    void meetingLinks_data()
    {
        QTest::addColumn<QString>("calendar");
        QTest::addColumn<QDateTime>("start");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("type");

        QTest::newRow("link in the location")
            << u"bw-misc"_s << utc("2026-06-08T10:00:00Z") << u"https://us02web.zoom.us/j/81234567890"_s << u"Zoom"_s;
        QTest::newRow("conference property, its video link")
            << u"bw-links"_s << utc("2026-09-01T09:00:00Z") << u"https://meet.jit.si/Standup"_s << u"Meeting"_s;
        QTest::newRow("Google's conference property") << u"bw-links"_s << utc("2026-09-01T10:00:00Z")
                                                      << u"https://meet.google.com/abc-defg-hij"_s << u"Google Meet"_s;
        QTest::newRow("Microsoft's conference property")
            << u"bw-links"_s << utc("2026-09-01T11:00:00Z")
            << u"https://teams.microsoft.com/l/meetup-join/19%3Ameeting"_s << u"Microsoft Teams"_s;
        QTest::newRow("a link in the notes comes first")
            << u"bw-links"_s << utc("2026-09-01T12:00:00Z") << u"https://zoom.us/j/42"_s << u"Zoom"_s;
        QTest::newRow("the URL property is not consulted")
            << u"bw-links"_s << utc("2026-09-01T13:00:00Z") << QString() << QString();
    }

    void meetingLinks()
    {
        QFETCH(QString, calendar);
        QFETCH(QDateTime, start);
        QFETCH(QString, url);
        QFETCH(QString, type);

        const QList<CalendarEvent> events = fetch(QSet{calendar}, start, start.addSecs(60));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.at(0).meetingURL().value_or(QUrl()).toString(), url);
        QCOMPARE(events.at(0).meetingType() ? rawValue(*events.at(0).meetingType()) : QString(), type);
    }

    // Outlook writes Windows zone ids and display names, with no definition; libical knows neither, nor every
    // zone a system can be set to.
    void timeZones_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("New York")
            << QByteArray("America/New_York")
            << QStringList{
                   u"sydney-display 2026-07-01T02:00:00Z 2026-07-01T02:30:00Z Sydney display name"_s,
                   u"all-day 2026-07-01T04:00:00Z 2026-07-02T04:00:00Z All day (all day)"_s,
                   u"offset-display 2026-07-01T04:30:00Z 2026-07-01T05:00:00Z Offset only"_s,
                   u"w-europe 2026-07-01T08:00:00Z 2026-07-01T08:30:00Z W. Europe"_s,
                   u"romance 2026-07-01T09:00:00Z 2026-07-01T09:30:00Z Romance"_s,
                   u"amsterdam-display 2026-07-01T09:30:00Z 2026-07-01T10:00:00Z Amsterdam display name"_s,
                   u"eastern 2026-07-01T14:00:00Z 2026-07-01T14:30:00Z Eastern"_s,
                   u"unknown 2026-07-01T14:00:00Z 2026-07-01T14:30:00Z Unknown"_s,
                   u"eastern-display 2026-07-01T15:00:00Z 2026-07-01T15:30:00Z Eastern display name"_s,
                   u"floating 2026-07-01T16:00:00Z 2026-07-01T16:30:00Z Floating"_s,
               };
        QTest::newRow("a zone libical does not know")
            << QByteArray("XST-3")
            << QStringList{
                   u"all-day 2026-06-30T21:00:00Z 2026-07-01T21:00:00Z All day (all day)"_s,
                   u"sydney-display 2026-07-01T02:00:00Z 2026-07-01T02:30:00Z Sydney display name"_s,
                   u"offset-display 2026-07-01T04:30:00Z 2026-07-01T05:00:00Z Offset only"_s,
                   u"unknown 2026-07-01T07:00:00Z 2026-07-01T07:30:00Z Unknown"_s,
                   u"w-europe 2026-07-01T08:00:00Z 2026-07-01T08:30:00Z W. Europe"_s,
                   u"floating 2026-07-01T09:00:00Z 2026-07-01T09:30:00Z Floating"_s,
                   u"romance 2026-07-01T09:00:00Z 2026-07-01T09:30:00Z Romance"_s,
                   u"amsterdam-display 2026-07-01T09:30:00Z 2026-07-01T10:00:00Z Amsterdam display name"_s,
                   u"eastern 2026-07-01T14:00:00Z 2026-07-01T14:30:00Z Eastern"_s,
                   u"eastern-display 2026-07-01T15:00:00Z 2026-07-01T15:30:00Z Eastern display name"_s,
               };
    }

    void timeZones()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QStringList, expected);

        test::pinTimeZone(zone.constData());
        EdsCalendarProvider provider(m_clock);
        const auto fetchZones = [&] {
            return describe(fetch(QSet{u"bw-zones"_s}, utc("2026-06-30T00:00:00Z"), utc("2026-07-03T00:00:00Z"), {},
                                  true, 0, &provider));
        };
        test::CapturedOutput output;
        const QStringList first = fetchZones();
        const QStringList second = fetchZones();
        QCOMPARE(output.lines(),
                 QStringList{u"Unknown time zone \"Mars/Olympus_Mons\": its times are read as local time"_s});
        QCOMPARE(first, expected);
        QCOMPARE(second, expected);
    }

    void calendarColours_data()
    {
        QTest::addColumn<QString>("calendar");
        QTest::addColumn<QString>("argb");

        QTest::newRow("#rrggbb") << u"bw-a"_s << u"#ffff8000"_s;
        QTest::newRow("rgb()") << u"bw-rgb"_s << u"#ff3465a4"_s;
        QTest::newRow("rgba()") << u"bw-rgba"_s << u"#803465a4"_s;
        QTest::newRow("#rgb") << u"bw-hex3"_s << u"#ffff8800"_s;
        QTest::newRow("#rrggbbaa") << u"bw-hex8"_s << u"#803465a4"_s;
        QTest::newRow("name") << u"bw-named"_s << u"#ff6495ed"_s;
        QTest::newRow("unreadable, shown blue") << u"bw-b"_s << u"#ff007aff"_s;
    }

    void calendarColours()
    {
        QFETCH(QString, calendar);
        QFETCH(QString, argb);

        const QList<CalendarInfo> calendars = test::runTask(m_provider->listCalendars());
        const auto found = std::find_if(calendars.begin(), calendars.end(),
                                        [&](const CalendarInfo &info) { return info.identifier == calendar; });
        QVERIFY(found != calendars.end() && found->color);
        const CalendarColor color = *found->color;
        QCOMPARE(QColor::fromRgbF(float(color.red), float(color.green), float(color.blue), float(color.alpha))
                     .name(QColor::HexArgb),
                 argb);
    }

    void calendarSelection_data()
    {
        QTest::addColumn<IDs>("included");
        QTest::addColumn<QSet<QString>>("excluded");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("lines");

        QTest::newRow("exclusion wins") << IDs(QSet<QString>{u"bw-a"_s, u"bw-b"_s}) << QSet<QString>{u"bw-b"_s}
                                        << QStringList{u"Alpha meeting"_s} << QStringList{};
        QTest::newRow("empty inclusion reads nothing")
            << IDs(QSet<QString>{}) << QSet<QString>{} << QStringList{} << QStringList{};
        QTest::newRow("no inclusion reads all but the excluded")
            << IDs() << QSet<QString>{u"bw-a"_s, u"bw-broken"_s} << QStringList{u"Beta meeting"_s} << QStringList{};
        QTest::newRow("a calendar that cannot be opened is skipped")
            << IDs(QSet<QString>{u"bw-a"_s, u"bw-broken"_s}) << QSet<QString>{} << QStringList{u"Alpha meeting"_s}
            << QStringList{u"Skipping calendar \"Broken\""_s};
    }

    void calendarSelection()
    {
        QFETCH(IDs, included);
        QFETCH(QSet<QString>, excluded);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, lines);

        test::CapturedOutput output;
        const QList<CalendarEvent> events =
            fetch(included, utc("2026-05-04T00:00:00Z"), utc("2026-05-05T00:00:00Z"), excluded);
        QStringList printed = output.lines();
        for (QString &line : printed) {
            line = line.section(u':', 0, 0);
        }
        QCOMPARE(printed, lines);
        QCOMPARE(::titles(events), titles);
    }

    // The store's order of calendars settles what the start alone does not.
    void storeOrderBreaksTies()
    {
        QStringList order;
        for (const CalendarInfo &info : test::runTask(m_provider->listCalendars())) {
            order << info.identifier;
        }
        const bool alphaFirst = order.indexOf(u"bw-a"_s) < order.indexOf(u"bw-b"_s);
        QCOMPARE(titles(fetch(QSet<QString>{u"bw-a"_s, u"bw-b"_s}, utc("2026-05-05T10:00:00Z"),
                              utc("2026-05-05T10:30:00Z"))),
                 QStringList{alphaFirst ? u"Invite (Alpha)"_s : u"Invite (Beta)"_s});

        const bool oneFirst = order.indexOf(u"bw-same-1"_s) < order.indexOf(u"bw-same-2"_s);
        const QStringList one(9, u"Same 1"_s);
        const QStringList two(9, u"Same 2"_s);
        QCOMPARE(titles(fetch(QSet<QString>{u"bw-same-1"_s, u"bw-same-2"_s}, utc("2026-10-01T09:00:00Z"),
                              utc("2026-10-01T09:30:00Z"))),
                 oneFirst ? one + two : two + one);
    }

    void changesAreNoticed_data()
    {
        QTest::addColumn<QString>("change");

        QTest::newRow("meeting added") << u"add"_s;
        QTest::newRow("meeting moved") << u"move"_s;
        QTest::newRow("meeting cancelled") << u"remove"_s;
        QTest::newRow("calendar added") << u"calendar"_s;
    }

    void changesAreNoticed()
    {
        QFETCH(QString, change);

        fetch(QSet{u"bw-live"_s}, utc("2026-12-01T00:00:00Z"), utc("2026-12-02T00:00:00Z"));
        const GObjectPtr<ECalClient> live = client("bw-live");
        const GObjectPtr<ICalComponent> meeting(i_cal_component_new_from_string(
            "BEGIN:VEVENT\nUID:live\nDTSTAMP:20260101T000000Z\nDTSTART:20261201T090000Z\nDTEND:20261201T093000Z\n"
            "SUMMARY:Live\nEND:VEVENT\n"));
        const GObjectPtr<ICalTime> later(i_cal_time_new_from_string("20261201T100000Z"));
        QVERIFY(noticed(*m_provider, [&] {
            if (change == u"add") {
                e_cal_client_create_object_sync(live.get(), meeting.get(), E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr,
                                                nullptr);
            } else if (change == u"move") {
                i_cal_component_set_dtstart(meeting.get(), later.get());
                e_cal_client_modify_object_sync(live.get(), meeting.get(), E_CAL_OBJ_MOD_ALL, E_CAL_OPERATION_FLAG_NONE,
                                                nullptr, nullptr);
            } else if (change == u"remove") {
                e_cal_client_remove_object_sync(live.get(), "live", nullptr, E_CAL_OBJ_MOD_ALL,
                                                E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr);
            } else {
                QVERIFY(test::writeFile(m_sources + u"/bw-new.source", localCalendarSource("New")));
            }
        }));
    }

    void lateCalendarIsSkipped_data()
    {
        QTest::addColumn<QString>("calendar");
        QTest::addColumn<QByteArray>("stoppedBackend");

        QTest::newRow("backend stopped") << u"bw-stalled"_s << QByteArray("--factory contacts");
        QTest::newRow("series that takes minutes to expand") << u"bw-slow"_s << QByteArray();
    }

    void lateCalendarIsSkipped()
    {
        QFETCH(QString, calendar);
        QFETCH(QByteArray, stoppedBackend);

        QVERIFY(startFactoryWithProcessPerBackend());
        const IDs calendars = QSet<QString>{u"bw-a"_s, u"bw-b"_s, calendar};
        const QStringList others{u"Alpha meeting"_s, u"Beta meeting"_s};
        // From a day earlier, the calendars are read again rather than served from what the first fetch read.
        const auto fetchAll = [&](EdsCalendarProvider &provider, int daysEarlier = 0) {
            return titles(fetch(calendars, utc("2026-05-04T00:00:00Z").addDays(-daysEarlier),
                                utc("2026-05-05T00:00:00Z"), {}, false, 0, &provider));
        };
        EdsCalendarProvider provider(m_clock, defaultCalendarProviderConfig, std::chrono::milliseconds(1500));
        auto waiting =
            std::make_unique<EdsCalendarProvider>(m_clock, defaultCalendarProviderConfig, std::chrono::hours(1));
        if (stoppedBackend.isEmpty()) {
            // Seeded only here: the calendar daemon keeps working on this series for minutes.
            QVERIFY(test::runTask(provider.isAuthorized()));
            const QString data = qEnvironmentVariable("XDG_DATA_HOME") + u"/evolution/calendar";
            QVERIFY(
                test::writeFile(data + u"/bw-slow/calendar.ics",
                                "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:secondly\nDTSTAMP:20260101T000000Z\n"
                                "DTSTART:20260504T000000Z\nDTEND:20260504T000001Z\nRRULE:FREQ=SECONDLY;COUNT=100000\n"
                                "SUMMARY:Every second\nEND:VEVENT\nEND:VCALENDAR\n"));
            QVERIFY(noticed(provider, [&] {
                QVERIFY(test::writeFile(m_sources + u"/bw-slow.source", localCalendarSource("Slow")));
            }));
        } else {
            QCOMPARE(fetchAll(provider), others);
            QCOMPARE(fetchAll(*waiting), others);
        }
        {
            const Stopped stopped(stoppedBackend.isEmpty() ? QList<pid_t>{} : calendarFactories(stoppedBackend));
            test::CapturedOutput output;
            const QStringList late = fetchAll(provider, 1);
            QCOMPARE(output.lines(),
                     QStringList{u"Skipping calendar \""_s + (stoppedBackend.isEmpty() ? u"Slow" : u"Stalled")
                                 + u"\": no answer within 1.5 s"});
            QCOMPARE(late, others);
            if (!stoppedBackend.isEmpty()) {
                // A provider destroyed while a call is stuck neither waits for it nor loses the fetch awaiting it.
                QCoro::Task<QList<CalendarEvent>> pending =
                    waiting->fetchEvents(utc("2026-05-03T00:00:00Z"), utc("2026-05-05T00:00:00Z"));
                waiting.reset();
                QCOMPARE(titles(test::runTask(std::move(pending))), others);
            }
        }
        if (!stoppedBackend.isEmpty()) {
            test::CapturedOutput output;
            const QStringList again = fetchAll(provider);
            QCOMPARE(output.lines(), QStringList{});
            QCOMPARE(again, others);
        }
        QFile::remove(m_sources + u"/bw-slow.source");
        killCalendarFactories();
    }

    void failingCalendarKeepsItsLastEvents_data()
    {
        QTest::addColumn<int>("minutesLater");
        QTest::addColumn<QStringList>("titles");

        QTest::newRow("a minute later") << 1 << QStringList{u"Alpha meeting"_s};
        QTest::newRow("fifteen minutes later") << 15 << QStringList{u"Alpha meeting"_s};
        QTest::newRow("sixteen minutes later") << 16 << QStringList{};
    }

    void failingCalendarKeepsItsLastEvents()
    {
        QFETCH(int, minutesLater);
        QFETCH(QStringList, titles);

        ManualClock clock(utc("2026-05-04T09:00:00Z"));
        EdsCalendarProvider provider(clock, defaultCalendarProviderConfig, std::chrono::seconds(1));
        const auto fetchAlpha = [&](const QDateTime &from) {
            return ::titles(
                fetch(QSet<QString>{u"bw-a"_s}, from, utc("2026-05-05T00:00:00Z"), {}, false, 0, &provider));
        };
        QCOMPARE(fetchAlpha(utc("2026-05-04T00:00:00Z")), QStringList{u"Alpha meeting"_s});
        const Stopped stopped(calendarFactories());
        clock.advance(std::chrono::minutes(minutesLater));
        test::CapturedOutput output;
        // From a day earlier than the first window, so the calendar must be read again.
        const QStringList fetched = fetchAlpha(utc("2026-05-03T00:00:00Z"));
        QCOMPARE(output.lines(), QStringList{u"Skipping calendar \"Alpha\": no answer within 1 s"_s});
        QCOMPARE(fetched, titles);
    }

    void survivesACalendarFactoryRestart_data()
    {
        QTest::addColumn<bool>("duringTheQuery");

        QTest::newRow("between fetches") << false;
        QTest::newRow("while a query waits on it") << true;
    }

    void survivesACalendarFactoryRestart()
    {
        QFETCH(bool, duringTheQuery);

        const QStringList alpha{u"Alpha meeting"_s};
        const QDateTime from = utc("2026-05-04T00:00:00Z");
        const QDateTime to = utc("2026-05-05T00:00:00Z");
        QCOMPARE(titles(fetch(QSet<QString>{u"bw-a"_s}, from, to)), alpha);
        test::CapturedOutput output;
        QStringList fetched;
        if (duringTheQuery) {
            const Stopped stopped(calendarFactories());
            // From before the first window, so the calendar is asked rather than served from the first fetch.
            QCoro::Task<QList<CalendarEvent>> pending = m_provider->fetchEvents(from.addDays(-1), to);
            QVERIFY(killCalendarFactories());
            fetched = titles(test::runTask(std::move(pending)));
        } else {
            // Told, so its owner fetches again and nothing is served from before the restart.
            QVERIFY(noticed(*m_provider, [] { killCalendarFactories(); }));
            fetched = titles(fetch(QSet<QString>{u"bw-a"_s}, from, to));
        }
        QCOMPARE(output.lines(), QStringList{});
        QCOMPARE(fetched, alpha);
    }

    void commandLine_data()
    {
        QTest::addColumn<QString>("bus");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<QByteArray>("errors");

        // The series began two days ago two hours from now, so its third occurrence is the one ahead.
        QTest::newRow("the next 24 hours")
            << QString() << 0
            << QStringList{u"eventkit_daily_"_s + m_dailyStart.addDays(2).toString(u"yyyyMMdd'T'HHmmss'Z'"_s)}
            << QByteArray();
        QTest::newRow("store out of reach")
            << u"unix:path=/nonexistent"_s << 1 << QStringList{}
            << QByteArray("System Calendar: Calendar access not authorized. Please grant permission in System "
                          "Settings.\n");
    }

    void commandLine()
    {
        QFETCH(QString, bus);
        QFETCH(int, exitCode);
        QFETCH(QStringList, ids);
        QFETCH(QByteArray, errors);

        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!bus.isEmpty()) {
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus);
        }
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(BELLWICK_BINARY), {u"--list-events"_s, u"--json"_s});
        QVERIFY(process.waitForFinished(30'000));
        QCOMPARE(process.exitCode(), exitCode);
        QCOMPARE(process.readAllStandardError(), errors);
        QStringList listed;
        for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            if (!object.isEmpty()) {
                listed << object.value(u"id"_s).toString();
            }
        }
        QCOMPARE(listed, ids);
    }
};

QTEST_GUILESS_MAIN(EdsCalendarProviderTest)
#include "tst_edscalendarprovider.moc"
