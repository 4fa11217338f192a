#include "calendar/eds/edscalendarprovider.h"
#include "capturedoutput.h"
#include "platform/manualclock.h"
#include "tasks.h"
#include "timezone.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
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

QString describe(const CalendarEvent &event)
{
    return event.originalID() + u' ' + event.startDate().toString(Qt::ISODate) + u' '
           + event.endDate().toString(Qt::ISODate) + u' ' + event.title() + (event.isAllDay() ? u" (all day)" : u"");
}

QStringList describe(const QList<CalendarEvent> &events)
{
    QStringList lines;
    for (const CalendarEvent &event : events) {
        lines << describe(event);
    }
    return lines;
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

void writeFile(const QString &path, const QByteArray &contents)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
}

// Only this session's factory: other test sessions may run beside this one.
int killCalendarFactories()
{
    const QByteArray marker = "BELLWICK_SESSION=" + qgetenv("BELLWICK_SESSION");
    QList<pid_t> killed;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool isPid = false;
        const pid_t pid = entry.toInt(&isPid);
        QFile cmdline(u"/proc/" + entry + u"/cmdline");
        QFile environment(u"/proc/" + entry + u"/environ");
        if (!isPid || !cmdline.open(QIODevice::ReadOnly) || !environment.open(QIODevice::ReadOnly)) {
            continue;
        }
        if (cmdline.readAll().contains("evolution-calendar-factory")
            && environment.readAll().split('\0').contains(marker) && ::kill(pid, SIGKILL) == 0) {
            killed << pid;
        }
    }
    // A killed process keeps its /proc entry until reaped, but its command line empties at once.
    for (const pid_t pid : std::as_const(killed)) {
        const QString cmdline = u"/proc/" + QString::number(pid) + u"/cmdline";
        QDeadlineTimer deadline(5000);
        while (QFile::exists(cmdline) && !deadline.hasExpired()) {
            QFile file(cmdline);
            if (file.open(QIODevice::ReadOnly) && file.readAll().isEmpty()) {
                break;
            }
            QTest::qWait(20);
        }
    }
    return int(killed.size());
}

} // namespace

class EdsCalendarProviderTest : public QObject
{
    Q_OBJECT

    ManualClock m_clock{utc("2026-03-01T00:00:00Z")};
    std::unique_ptr<EdsCalendarProvider> m_provider;
    QDateTime m_dailyStart;

    QList<CalendarEvent> fetch(IDs included, const QDateTime &from, const QDateTime &to, QSet<QString> excluded = {},
                               bool allDay = false, int minimumMinutes = 0)
    {
        CalendarProviderConfig config;
        config.includedCalendarIDs = std::move(included);
        config.excludedCalendarIDs = std::move(excluded);
        config.includeAllDayEvents = allDay;
        config.minimumDurationMinutes = minimumMinutes;
        m_provider->setConfig(config);
        return test::runTask(m_provider->fetchEvents(from, to));
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION")) {
            QSKIP("seeds the calendar store, so it runs only inside scripts/session");
        }
        test::pinTimeZone("America/New_York");
        const QString config = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/evolution/sources";
        const QString data = qEnvironmentVariable("XDG_DATA_HOME") + u"/evolution/calendar";
        copyTree(QStringLiteral(BELLWICK_EDS_FIXTURES "/sources"), config);
        copyTree(QStringLiteral(BELLWICK_EDS_FIXTURES "/calendar"), data);
        // The local backend cannot open a calendar whose folder is a file.
        writeFile(data + u"/bw-broken", "not a folder");

        // A daily series around the real clock, for the listing of the next 24 hours.
        m_dailyStart = QDateTime::currentDateTimeUtc().addDays(-2).addSecs(7200);
        m_dailyStart.setTime(QTime(m_dailyStart.time().hour(), m_dailyStart.time().minute()));
        writeFile(config + u"/bw-daily.source", "[Data Source]\nDisplayName=Daily\nEnabled=true\nParent=local-stub\n\n"
                                                "[Calendar]\nBackendName=local\n");
        writeFile(data + u"/bw-daily/calendar.ics",
                  "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Bellwick//Tests//EN\r\nBEGIN:VEVENT\r\nUID:daily\r\n"
                  "DTSTAMP:20260101T000000Z\r\nDTSTART:"
                      + m_dailyStart.toString(QStringLiteral("yyyyMMdd'T'HHmm'00Z'")).toLatin1()
                      + "\r\nDURATION:PT15M\r\nRRULE:FREQ=DAILY;COUNT=10\r\nSUMMARY:Daily check-in\r\n"
                        "LOCATION:https://us02web.zoom.us/j/81234567890\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");

        m_provider = std::make_unique<EdsCalendarProvider>(m_clock);
        QVERIFY(test::runTask(m_provider->requestAccess()));
    }

    void cleanupTestCase() { m_provider.reset(); }

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
            << "bw-series" << utc("2026-03-01T00:00:00Z") << utc("2026-05-01T00:00:00Z") << false << 0
            << QStringList{
                   u"standup_20260302T080000Z 2026-03-02T08:00:00Z 2026-03-02T08:30:00Z Standup"_s,
                   u"standup_20260309T080000Z 2026-03-09T08:00:00Z 2026-03-09T08:30:00Z Standup"_s,
                   u"standup_20260323T080000Z 2026-03-24T13:00:00Z 2026-03-24T13:30:00Z Standup (moved)"_s,
                   u"standup_20260330T070000Z 2026-03-30T07:00:00Z 2026-03-30T07:30:00Z Standup"_s,
                   u"standup_20260406T070000Z 2026-04-06T07:00:00Z 2026-04-06T07:30:00Z Standup"_s,
               };
        QTest::newRow("all-day left out")
            << "bw-misc" << utc("2026-06-01T00:00:00Z") << utc("2026-06-04T12:00:00Z") << false << 0 << QStringList{};
        // New York midnight; a date without an end lasts one day.
        QTest::newRow("all-day included")
            << "bw-misc" << utc("2026-06-01T00:00:00Z") << utc("2026-06-04T12:00:00Z") << true << 0
            << QStringList{
                   u"holiday 2026-06-01T04:00:00Z 2026-06-02T04:00:00Z Holiday (all day)"_s,
                   u"day-off 2026-06-03T04:00:00Z 2026-06-04T04:00:00Z Day off (all day)"_s,
               };
        QTest::newRow("minimum duration keeps exactly 15 minutes")
            << "bw-misc" << utc("2026-06-05T00:00:00Z") << utc("2026-06-06T00:00:00Z") << false << 15
            << QStringList{u"quarter 2026-06-05T12:00:00Z 2026-06-05T12:15:00Z Quarter"_s};
        QTest::newRow("no minimum duration")
            << "bw-misc" << utc("2026-06-05T00:00:00Z") << utc("2026-06-06T00:00:00Z") << false << 0
            << QStringList{
                   u"short 2026-06-05T10:00:00Z 2026-06-05T10:14:59Z Short"_s,
                   u"quarter 2026-06-05T12:00:00Z 2026-06-05T12:15:00Z Quarter"_s,
               };
        // A floating time is New York wall time; an unknown zone is read the same way.
        QTest::newRow("odd shapes") << "bw-misc" << utc("2026-06-08T00:00:00Z") << utc("2026-06-09T00:00:00Z") << false
                                    << 0
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
            << "bw-misc" << utc("2026-06-08T17:00:00Z") << utc("2026-06-08T19:00:00Z") << false << 0
            << QStringList{u"floating 2026-06-08T18:00:00Z 2026-06-08T18:30:00Z Floating"_s};
        QTest::newRow("all-day event's local evening")
            << "bw-misc" << utc("2026-06-02T02:00:00Z") << utc("2026-06-02T03:00:00Z") << true << 0
            << QStringList{u"holiday 2026-06-01T04:00:00Z 2026-06-02T04:00:00Z Holiday (all day)"_s};
        QTest::newRow("in progress kept, ended at the start not")
            << "bw-misc" << utc("2026-06-10T10:00:00Z") << utc("2026-06-10T12:00:00Z") << false << 0
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

        const QList<CalendarEvent> events = fetch(QSet{calendar}, from, to, {}, allDay, minimumMinutes);
        QCOMPARE(describe(events), expected);
    }

    void eventFields()
    {
        const QList<CalendarEvent> misc =
            fetch(QSet{u"bw-misc"_s}, utc("2026-06-08T10:00:00Z"), utc("2026-06-08T11:30:00Z"));
        QCOMPARE(misc.size(), 2);
        const CalendarEvent &zoom = misc.at(0);
        QCOMPARE(zoom.id(), QStringLiteral("eventkit_zoom"));
        QCOMPARE(zoom.meetingType(), MeetingType::zoom);
        QCOMPARE(zoom.notes(), QStringLiteral("Quarterly planning"));
        QCOMPARE(zoom.location(), QStringLiteral("https://us02web.zoom.us/j/81234567890"));
        QCOMPARE(zoom.calendarName(), QStringLiteral("Misc"));
        QCOMPARE(misc.at(1).notes(), std::nullopt);
        QCOMPARE(misc.at(1).location(), std::nullopt);

        const QList<CalendarEvent> series =
            fetch(QSet{u"bw-series"_s}, utc("2026-03-02T00:00:00Z"), utc("2026-03-03T00:00:00Z"));
        QCOMPARE(series.size(), 1);
        QCOMPARE(series.at(0).calendarName(), QStringLiteral("Team"));
        QCOMPARE(series.at(0).calendarColor(), (CalendarColor{0x34 / 255.0, 0x65 / 255.0, 0xa4 / 255.0, 1.0}));
    }

    void calendarsAndColours()
    {
        const QList<CalendarInfo> calendars = test::runTask(m_provider->listCalendars());
        const auto find = [&](const QString &identifier) {
            const auto found = std::find_if(calendars.begin(), calendars.end(),
                                            [&](const CalendarInfo &info) { return info.identifier == identifier; });
            return found == calendars.end() ? std::nullopt : std::optional(*found);
        };
        QCOMPARE(find(QStringLiteral("bw-a")), (CalendarInfo{QStringLiteral("bw-a"), QStringLiteral("Alpha"),
                                                             CalendarColor{1.0, 0x80 / 255.0, 0, 1}}));
        // EDS gives a calendar without a colour its default one, so only one that does not parse has none.
        QCOMPARE(find(QStringLiteral("bw-b")), (CalendarInfo{QStringLiteral("bw-b"), QStringLiteral("Beta"), {}}));
    }

    void calendarSelection_data()
    {
        QTest::addColumn<IDs>("included");
        QTest::addColumn<QSet<QString>>("excluded");
        QTest::addColumn<QStringList>("titles");

        QTest::newRow("exclusion wins") << IDs(QSet<QString>{u"bw-a"_s, u"bw-b"_s}) << QSet<QString>{u"bw-b"_s}
                                        << QStringList{u"Alpha meeting"_s};
        QTest::newRow("empty inclusion reads nothing") << IDs(QSet<QString>{}) << QSet<QString>{} << QStringList{};
        QTest::newRow("no inclusion reads all but the excluded")
            << IDs() << QSet<QString>{u"bw-a"_s, u"bw-broken"_s} << QStringList{u"Beta meeting"_s};
    }

    void calendarSelection()
    {
        QFETCH(IDs, included);
        QFETCH(QSet<QString>, excluded);
        QFETCH(QStringList, titles);

        test::CapturedOutput output;
        const QList<CalendarEvent> events =
            fetch(included, utc("2026-05-04T00:00:00Z"), utc("2026-05-05T00:00:00Z"), excluded);
        QStringList fetched;
        for (const CalendarEvent &event : events) {
            fetched << event.title();
        }
        QCOMPARE(fetched, titles);
        QCOMPARE(output.lines(), QStringList{});
    }

    void brokenCalendarIsSkipped()
    {
        test::CapturedOutput output;
        const QList<CalendarEvent> events =
            fetch(QSet<QString>{u"bw-a"_s, u"bw-broken"_s}, utc("2026-05-04T00:00:00Z"), utc("2026-05-05T00:00:00Z"));
        QCOMPARE(describe(events),
                 QStringList{u"bw-a-event 2026-05-04T10:00:00Z 2026-05-04T11:00:00Z Alpha meeting"_s});
        const QStringList lines = output.lines();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.at(0).startsWith(u"Skipping calendar \"Broken\": "), qPrintable(lines.at(0)));
    }

    void survivesACalendarFactoryRestart()
    {
        const QStringList alpha{u"bw-a-event 2026-05-04T10:00:00Z 2026-05-04T11:00:00Z Alpha meeting"_s};
        const auto fetchAlpha = [&] {
            return describe(fetch(QSet<QString>{u"bw-a"_s}, utc("2026-05-04T00:00:00Z"), utc("2026-05-05T00:00:00Z")));
        };
        QCOMPARE(fetchAlpha(), alpha);
        QVERIFY(killCalendarFactories() > 0);

        test::CapturedOutput output;
        const QStringList afterKill = fetchAlpha();
        QVERIFY2(afterKill == alpha || (afterKill.isEmpty() && output.lines().size() == 1),
                 qPrintable(afterKill.join(u'\n')));
        QCOMPARE(fetchAlpha(), alpha);
    }

    void listingFromTheCommandLine()
    {
        QProcess process;
        process.start(QStringLiteral(BELLWICK_BINARY), {QStringLiteral("--list-events"), QStringLiteral("--json")});
        QVERIFY(process.waitForFinished(30'000));
        QCOMPARE(process.exitCode(), 0);
        QStringList ids;
        for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            if (!object.isEmpty()) {
                ids << object.value(QStringLiteral("id")).toString();
            }
        }
        // The series began two days ago two hours from now, so its third occurrence is the one ahead.
        QCOMPARE(ids, QStringList{u"eventkit_daily_"_s + m_dailyStart.addDays(2).toString(u"yyyyMMdd'T'HHmmss'Z'"_s)});
    }

    void unreachableStoreFailsTheListing()
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(BELLWICK_BINARY), {QStringLiteral("--list-events")});
        QVERIFY(process.waitForFinished(30'000));
        QCOMPARE(process.exitCode(), 1);
        QCOMPARE(process.readAllStandardError(),
                 "System Calendar: Calendar access not authorized. Please grant permission in System Settings.\n");
    }
};

QTEST_GUILESS_MAIN(EdsCalendarProviderTest)
#include "tst_edscalendarprovider.moc"
