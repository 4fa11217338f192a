#include "agentsession.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QTemporaryDir>

#include <csignal>

using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString logindService = u"org.freedesktop.login1"_s;
const QString libfaketime = u"/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1"_s;

// A system bus of this test's own, open to every client like a test machine's would be.
const QByteArray systemBusConfig =
    "<busconfig><type>system</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth><policy context=\"default\">"
    "<allow user=\"*\"/><allow own=\"*\"/><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
    "</policy></busconfig>";

} // namespace

// What the system does to a running agent: a suspend across which the wall clock moves on, and the signals that end
// a process.
class SystemEventsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QProcess m_systemBus;
    QString m_systemBusAddress;
    QProcess m_agent;

    [[nodiscard]] bool prepareForSleep(bool sleeping) const
    {
        const QDBusConnection logind(u"logind"_s);
        return logind.send(QDBusMessage::createSignal(u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s,
                                                      u"PrepareForSleep"_s)
                           << sleeping)
               // A call after the signal returns once the bus has passed the signal on.
               && logind.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                             u"org.freedesktop.DBus"_s, u"GetId"_s))
                          .type()
                      == QDBusMessage::ReplyMessage;
    }

    // Starts the agent and waits until its icon is in the tray.
    void startAgent(const QStringList &arguments, const QProcessEnvironment &environment)
    {
        m_agent.setProcessEnvironment(environment);
        m_agent.setProcessChannelMode(QProcess::ForwardedChannels);
        m_agent.start(QStringLiteral(BELLWICK_BINARY), arguments);
        QVERIFY(m_agent.waitForStarted());
        QVERIFY(waitFor([] { return trayIcon().isValid(); }, 10s));
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION") || qEnvironmentVariableIsEmpty("DISPLAY")) {
            QSKIP("starts the agent in a desktop session of its own, so it runs only inside scripts/session --display");
        }
        QVERIFY(writeFile(m_folder.filePath(u"system.conf"_s), systemBusConfig));
        m_systemBus.start(u"dbus-daemon"_s, {u"--config-file"_s, m_folder.filePath(u"system.conf"_s), u"--nofork"_s,
                                             u"--print-address"_s});
        QVERIFY(m_systemBus.waitForReadyRead(5000));
        m_systemBusAddress = QString::fromUtf8(m_systemBus.readLine()).trimmed();
        const QDBusConnection logind = QDBusConnection::connectToBus(m_systemBusAddress, u"logind"_s);
        QVERIFY(logind.isConnected());
        QVERIFY(logind.interface()->registerService(logindService).isValid());
        // Long, so that the agent's own polling cannot be what finds the meeting due.
        QVERIFY(writeSettings(R"({"alertMinutesBefore": 1, "pollingIntervalSeconds": 300, "hasBeenLaunched": true})"));
    }

    void aMeetingThatFellDueDuringSleepAlertsOnResume()
    {
        QVERIFY2(QFile::exists(libfaketime), "needs Debian's faketime package");
        // The first meeting's alert comes at once and is dismissed, as the day's first alert would have been. The
        // second's is nine minutes away; the suspend below lasts that long on the wall clock and not at all on the
        // monotonic one, as a real suspend does.
        const QDateTime now = QDateTime::currentDateTimeUtc();
        QVERIFY(seedCalendar({now.addSecs(30), now.addSecs(600)}, u"https://acme.zoom.us/j/1"_s));
        const QString offset = m_folder.filePath(u"faketime"_s);
        QVERIFY(writeFile(offset, "+0\n"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, m_systemBusAddress);
        environment.insert(u"LD_PRELOAD"_s, libfaketime);
        environment.insert(u"FAKETIME_TIMESTAMP_FILE"_s, offset);
        environment.insert(u"FAKETIME_NO_CACHE"_s, u"1"_s);
        environment.insert(u"FAKETIME_DONT_FAKE_MONOTONIC"_s, u"1"_s);
        startAgent({}, environment);
        QVERIFY(waitFor([] { return !visibleWindows(alertWindowName).isEmpty(); }, 10s));
        QTest::qWait(500);
        // Join, then Dismiss.
        pressKeys({u"Tab"_s, u"Tab"_s, u"space"_s});
        QVERIFY(waitFor([] { return visibleWindows(alertWindowName).isEmpty(); }, 5s));

        QVERIFY(prepareForSleep(true));
        QVERIFY(writeFile(offset, "+545\n"));
        QVERIFY(prepareForSleep(false));
        // Without the resume, only the next poll, five minutes on, would find it due.
        QVERIFY2(waitFor([] { return !visibleWindows(alertWindowName).isEmpty(); }, 60s), "no alert after the resume");
        ::kill(static_cast<pid_t>(m_agent.processId()), SIGTERM);
        QVERIFY(m_agent.waitForFinished(5000));
    }

    void endingSignalsQuitCleanly_data()
    {
        QTest::addColumn<int>("signal");

        QTest::newRow("SIGTERM, as the session ends") << SIGTERM;
        QTest::newRow("SIGINT, as Ctrl+C in a terminal") << SIGINT;
    }

    void endingSignalsQuitCleanly()
    {
        QFETCH(int, signal);

        startAgent({u"--demo"_s}, QProcessEnvironment::systemEnvironment());
        ::kill(static_cast<pid_t>(m_agent.processId()), signal);
        QVERIFY(m_agent.waitForFinished(5000));
        QCOMPARE(m_agent.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_agent.exitCode(), 0);
    }

    void cleanupTestCase()
    {
        for (QProcess *process : {&m_agent, &m_systemBus}) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished();
            }
        }
    }
};

QTEST_GUILESS_MAIN(SystemEventsTest)
#include "tst_systemevents.moc"
