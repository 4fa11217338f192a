#include "agentsession.h"
#include "appharness.h"
#include "calendar/eds/edscalendarprovider.h"
#include "ui/iconprovider.h"
#include "ui/settingspresenter.h"
#include "ui/settingswindow.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlEngine>
#include <QQuickItem>
#include <QRegularExpression>

using namespace bellwick;
using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString settingsName = u"^Bellwick Settings$"_s;

QJsonObject storedSettings()
{
    return QJsonDocument::fromJson(readFile(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/bellwick/settings.json"))
        .object();
}

void collectCalendarTitles(const QQuickItem *item, QStringList &titles)
{
    if (item->objectName() == u"calendar" && item->isVisible()) {
        titles << item->property("text").toString();
    }
    const QList<QQuickItem *> children = item->childItems();
    for (const QQuickItem *child : children) {
        collectCalendarTitles(child, titles);
    }
}

} // namespace

// The settings window as a user meets it: its view over the seeded calendar store, then the real agent driven by
// the keyboard, with what it stores read back from the settings file.
class SettingsWindowTest : public QObject
{
    Q_OBJECT

    QProcess m_agent;

    static bool launch(const QStringList &arguments)
    {
        QProcess second;
        second.start(QStringLiteral(BELLWICK_BINARY), arguments);
        return second.waitForFinished(10'000) && second.exitStatus() == QProcess::NormalExit && second.exitCode() == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION") || qEnvironmentVariableIsEmpty("DISPLAY")) {
            QSKIP("starts the agent in a desktop session of its own, so it runs only inside scripts/session --display");
        }
        QVERIFY(seedCalendarSource(u"bw-work"_s, "Work"));
        QVERIFY(seedCalendarSource(u"bw-team"_s, "Team"));
        m_agent.setProcessChannelMode(QProcess::ForwardedChannels);
    }

    void theViewListsTheStoresCalendarsOnEveryTab()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        AppHarness harness(QDateTime::currentDateTimeUtc(), R"({"hasBeenLaunched": true})");
        EdsCalendarProvider store(harness.clock);
        SettingsPresenter presenter(*harness.app, store);
        QQmlEngine engine;
        engine.addImageProvider(u"icon"_s, new IconProvider);
        SettingsWindow window(&engine, &presenter);
        window.open();
        QVERIFY(QTest::qWaitForWindowActive(&window));

        QTest::keyClick(&window, Qt::Key_Right);
        QStringList titles;
        QVERIFY(waitFor(
            [&] {
                titles.clear();
                collectCalendarTitles(window.rootObject(), titles);
                titles.sort();
                return titles.size() == 4;
            },
            10s));
        QCOMPARE(titles, (QStringList{u"Birthdays & Anniversaries"_s, u"Personal"_s, u"Team"_s, u"Work"_s}));
        for (int tab = 2; tab < 5; ++tab) {
            QTest::keyClick(&window, Qt::Key_Right);
            QTRY_COMPARE(window.activeFocusItem()->objectName(), u"tab%1"_s.arg(tab));
        }
    }

    void openedFromTheCommandLineInFront()
    {
        QVERIFY(writeSettings(R"({"hasBeenLaunched": true})"));
        m_agent.start(QStringLiteral(BELLWICK_BINARY), {u"--settings"_s});
        QVERIFY(m_agent.waitForStarted());
        QVERIFY(waitFor([] { return visibleWindows(settingsName).size() == 1; }, 10s));
        const QString window = visibleWindows(settingsName).constFirst();
        QVERIFY(waitFor([&] { return runTool(u"xdotool"_s, {u"getactivewindow"_s}) == window; }, 5s));
        QCOMPARE(windowGeometry(window).size(), QSize(550, 480));
    }

    void keyboardChangesAreStoredAtOnce()
    {
        // From the first tab two to the right: the Alerts tab, whose first menu is the alert's lead.
        pressKeys({u"Right"_s, u"Right"_s, u"Tab"_s, u"Down"_s});
        QVERIFY(waitFor([] { return storedSettings().value(u"alertMinutesBefore"_s).toInt() == 5; }, 5s));

        // Appearance: the display, then the colour scheme.
        pressKeys({u"ctrl+Tab"_s, u"Tab"_s, u"Tab"_s, u"Down"_s});
        QVERIFY(waitFor([] { return storedSettings().value(u"alertColorScheme"_s).toString() == u"dark"; }, 5s));

        // Calendars: past the Microsoft 365 switch, button and field, the all-day switch and the duration menu to the
        // first calendar, which Enter unticks as Space would.
        pressKeys({u"ctrl+shift+Tab"_s, u"ctrl+shift+Tab"_s});
        QTest::qWait(1000);
        pressKeys({u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Return"_s});
        QVERIFY(waitFor([] { return storedSettings().value(u"enabledCalendarIDs"_s).toArray().size() == 3; }, 5s));
    }

    void openingAgainRaisesItEscapeAndCtrlWCloseIt()
    {
        QVERIFY(launch({u"--settings"_s}));
        QTest::qWait(500);
        QCOMPARE(visibleWindows(settingsName).size(), 1);
        pressKeys({u"Escape"_s});
        QVERIFY(waitFor([] { return visibleWindows(settingsName).isEmpty(); }, 5s));
        QVERIFY(launch({u"--settings"_s}));
        QVERIFY(waitFor([] { return visibleWindows(settingsName).size() == 1; }, 5s));
        const QString window = visibleWindows(settingsName).constFirst();
        QVERIFY(waitFor([&] { return runTool(u"xdotool"_s, {u"getactivewindow"_s}) == window; }, 5s));
        pressKeys({u"ctrl+w"_s});
        QVERIFY(waitFor([] { return visibleWindows(settingsName).isEmpty(); }, 5s));
        QCOMPARE(m_agent.state(), QProcess::Running);
    }

    void cleanupTestCase()
    {
        if (m_agent.state() != QProcess::NotRunning) {
            m_agent.terminate();
            QVERIFY(m_agent.waitForFinished(5000));
            QCOMPARE(m_agent.exitCode(), 0);
        }
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "tst_settingswindow.moc"
