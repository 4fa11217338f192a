#include "agentsession.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString zoomLink = u"https://acme.zoom.us/j/5550001111"_s;
const QString panelName = u"^Bellwick$"_s;

} // namespace

// The real agent in a desktop session, used as a user would: its alert on time, Join, a second launch, the tray.
class AgentTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QProcess m_agent;
    QDateTime m_joinedAt;

    [[nodiscard]] QString openedLinks() const
    {
        return QString::fromUtf8(readFile(m_folder.filePath(u"opened"_s))).trimmed();
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION") || qEnvironmentVariableIsEmpty("DISPLAY")) {
            QSKIP("starts the agent in a desktop session of its own, so it runs only inside scripts/session --display");
        }
        // The browser: it notes what it was asked to open.
        const QString bin = m_folder.filePath(u"bin"_s);
        QVERIFY(writeFile(bin + u"/xdg-open"_s,
                          "#!/bin/sh\necho \"$1\" >> '" + m_folder.filePath(u"opened"_s).toUtf8() + "'\n"));
        QVERIFY(QFile::setPermissions(bin + u"/xdg-open"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QVERIFY(writeSettings(R"({"alertMinutesBefore": 1, "hasBeenLaunched": true})"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PATH"_s, bin + u':' + environment.value(u"PATH"_s));
        environment.insert(u"LC_ALL"_s, u"en_US.UTF-8"_s);
        m_agent.setProcessEnvironment(environment);
        m_agent.setProcessChannelMode(QProcess::ForwardedChannels);
    }

    void aMeetingFromAlertToJoin()
    {
        // The alert falls due 15 s after launch, with a lead of one minute.
        QDateTime start = QDateTime::currentDateTimeUtc().addSecs(75);
        // The calendar keeps whole seconds.
        start.setTime(QTime(start.time().hour(), start.time().minute(), start.time().second()));
        QVERIFY(seedCalendar({start}, zoomLink));
        m_agent.start(QStringLiteral(BELLWICK_BINARY), {});
        QVERIFY(m_agent.waitForStarted());

        // Not before its time; how punctual it is, bench_eventmonitor measures.
        QVERIFY(waitFor([] { return !visibleWindows(alertWindowName).isEmpty(); }, 25s));
        QCOMPARE_GT(QDateTime::currentDateTimeUtc(), start.addSecs(-60).addMSecs(-500));

        const QString alert = visibleWindows(alertWindowName).constFirst();
        QVERIFY(waitFor([&] { return runTool(u"xdotool"_s, {u"getactivewindow"_s}) == alert; }, 5s));
        // Join is the first button.
        pressKeys({u"Tab"_s, u"space"_s});
        m_joinedAt = QDateTime::currentDateTimeUtc();
        QVERIFY(waitFor([&] { return !openedLinks().isEmpty(); }, 5s));
        QCOMPARE(openedLinks(), zoomLink);
        QVERIFY(waitFor([] { return visibleWindows(alertWindowName).isEmpty(); }, 5s));
    }

    void aSecondLaunchOpensThePanelOfTheFirst()
    {
        QProcess second;
        second.start(QStringLiteral(BELLWICK_BINARY), {});
        QVERIFY(second.waitForFinished(10'000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(m_agent.state(), QProcess::Running);
        QVERIFY2(waitFor([] { return visibleWindows(panelName).size() == 1; }, 5s),
                 qPrintable(u"windows named Bellwick, shown or not: "_s
                            + runTool(u"xdotool"_s, {u"search"_s, u"--name"_s, panelName}).simplified()));
        pressKeys({u"Escape"_s});
        QVERIFY(waitFor([] { return visibleWindows(panelName).isEmpty(); }, 5s));
    }

    void theTrayIconTogglesThePanelBesideIt()
    {
        const QRect icon = trayIcon();
        QVERIFY(icon.isValid());
        click(icon.center());
        QVERIFY(waitFor([] { return visibleWindows(panelName).size() == 1; }, 5s));
        const QRect panel = windowGeometry(visibleWindows(panelName).constFirst());
        QVERIFY2(
            panel.top() > icon.bottom() && panel.top() < icon.bottom() + 20 && panel.left() <= icon.center().x()
                && panel.right() >= icon.center().x(),
            qPrintable(u"panel %1,%2 %3×%4"_s.arg(panel.x()).arg(panel.y()).arg(panel.width()).arg(panel.height())));
        QTest::qWait(500);
        const QString shot = qEnvironmentVariable("BELLWICK_SCREENSHOTS", QStringLiteral(BELLWICK_SCREENSHOTS));
        QVERIFY(QDir().mkpath(shot));
        runTool(u"import"_s, {u"-window"_s, u"root"_s, shot + u"/panel.png"_s});

        click(QPoint(300, 400));
        QVERIFY(waitFor([] { return visibleWindows(panelName).isEmpty(); }, 5s));
    }

    void noSecondAlertInTheMinuteAfterJoining()
    {
        const qint64 remainingMs = QDateTime::currentDateTimeUtc().msecsTo(m_joinedAt.addSecs(60));
        const bool alertCame =
            waitFor([] { return !visibleWindows(alertWindowName).isEmpty(); }, std::chrono::milliseconds(remainingMs));
        QVERIFY(!alertCame);
    }

    void quitFromThePanel()
    {
        click(trayIcon().center());
        QVERIFY(waitFor([] { return visibleWindows(panelName).size() == 1; }, 5s));
        pressKeys({u"ctrl+q"_s});
        QVERIFY(m_agent.waitForFinished(5000));
        QCOMPARE(m_agent.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_agent.exitCode(), 0);
    }

    void cleanupTestCase()
    {
        if (m_agent.state() != QProcess::NotRunning) {
            m_agent.kill();
            m_agent.waitForFinished();
        }
    }
};

QTEST_GUILESS_MAIN(AgentTest)
#include "tst_agent.moc"
