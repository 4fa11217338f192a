#include "app/testalert.h"
#include "capturedoutput.h"
#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/systemclock.h"
#include "ui/rendering.h"
#include "xtools.h"

#include <QProcess>
#include <QQuickItem>
#include <QScreen>
#include <QTest>
#include <QTimer>

using namespace bellwick;
using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// As the application draws it.
const bool rendersLikeTheApp = [] {
    chooseSceneGraphBackend();
    return true;
}();

QString xprop(const QString &window, const QString &property)
{
    return runTool(u"xprop"_s,
                   window == u"root"_s ? QStringList{u"-root"_s, property} : QStringList{u"-id"_s, window, property});
}

QString hex(WId window)
{
    return u"0x%1"_s.arg(window, 0, 16);
}

QString hex(const QString &number)
{
    return hex(number.trimmed().toULongLong(nullptr, 0));
}

// What a user would call in front: shown, on every workspace, above every other window and holding the keyboard.
QStringList outOfFront(const QString &alert)
{
    QStringList wrong;
    if (!runTool(u"xwininfo"_s, {u"-id"_s, alert}).contains(u"IsViewable"_s)) {
        wrong << u"not viewable"_s;
    }
    if (!xprop(alert, u"WM_STATE"_s).contains(u"Normal"_s)) {
        wrong << u"iconified"_s;
    }
    if (!xprop(alert, u"_NET_WM_DESKTOP"_s).endsWith(u"= 4294967295"_s)) {
        wrong << u"on one workspace"_s;
    }
    if (hex(xprop(u"root"_s, u"_NET_CLIENT_LIST_STACKING"_s).section(u',', -1).section(u'#', -1)) != alert) {
        wrong << u"covered"_s;
    }
    if (hex(xprop(u"root"_s, u"_NET_ACTIVE_WINDOW"_s).section(u'#', -1)) != alert) {
        wrong << u"without the keyboard"_s;
    }
    return wrong;
}

// The test alert on screen, as the application shows it.
struct ShownAlert {
    explicit ShownAlert(int screenIndex = 0)
    {
        manager.screenIndex = screenIndex;
        showTestAlert(manager, clock.now(), [this] { ended = true; });
    }

    [[nodiscard]] bool ready() const
    {
        return rendersLikeTheApp && manager.alertWindow() && QTest::qWaitForWindowExposed(manager.alertWindow());
    }

    [[nodiscard]] QString id() const { return hex(manager.alertWindow()->winId()); }

    SystemClock clock;
    AlertManager manager{clock};
    bool ended = false;
};

} // namespace

// A real alert window under Xvfb with openbox, driven through the X server as a user would.
class AlertWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asksTheWindowManagerForItsPlace()
    {
        ShownAlert alert;
        QVERIFY(alert.ready());
        const QString states = xprop(alert.id(), u"_NET_WM_STATE"_s);
        for (const QString &state : {u"_NET_WM_STATE_ABOVE"_s, u"_NET_WM_STATE_FULLSCREEN"_s,
                                     u"_NET_WM_STATE_SKIP_TASKBAR"_s, u"_NET_WM_STATE_SKIP_PAGER"_s}) {
            QVERIFY2(states.contains(state), qPrintable(states));
        }
        // No functions and no decorations; openbox still offers to close and minimise (it ignores those two
        // functions by design), which the tests below answer.
        QVERIFY(xprop(alert.id(), u"_MOTIF_WM_HINTS"_s).endsWith(u"= 0x3, 0x0, 0x0, 0x0, 0x0"_s));
        const QString actions = xprop(alert.id(), u"_NET_WM_ALLOWED_ACTIONS"_s);
        QVERIFY2(!actions.contains(u"MOVE"_s) && !actions.contains(u"RESIZE"_s), qPrintable(actions));
        QCOMPARE(outOfFront(alert.id()), QStringList{});
    }

    void putsItselfBackInFront_data()
    {
        QTest::addColumn<QStringList>("disturbance");

        QTest::newRow("iconified") << QStringList{u"windowminimize"_s, u"%alert"_s};
        QTest::newRow("sent to another workspace") << QStringList{u"set_desktop_for_window"_s, u"%alert"_s, u"2"_s};
        QTest::newRow("workspace switched") << QStringList{u"set_desktop"_s, u"1"_s};
        QTest::newRow("another window activated") << QStringList{u"windowactivate"_s, u"%terminal"_s};
    }

    void putsItselfBackInFront()
    {
        QFETCH(QStringList, disturbance);

        QProcess xterm;
        xterm.start(u"xterm"_s, {u"-T"_s, u"covering"_s});
        const QString terminal = runTool(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--name"_s, u"^covering$"_s});
        ShownAlert alert;
        QVERIFY(alert.ready());
        QTRY_COMPARE(outOfFront(alert.id()), QStringList{});
        disturbance.replaceInStrings(u"%alert"_s, alert.id()).replaceInStrings(u"%terminal"_s, terminal);
        runTool(u"xdotool"_s, disturbance);
        QTRY_COMPARE_WITH_TIMEOUT(outOfFront(alert.id()), QStringList{}, 5000);
        QVERIFY(alert.manager.isShowingAlert() && !alert.ended);

        runTool(u"xdotool"_s, {u"set_desktop"_s, u"0"_s});
        xterm.kill();
        xterm.waitForFinished();
    }

    // The keys that close windows elsewhere do nothing to the alert; others, Ctrl+Shift+Q among them, reach it.
    void closingKeysDoNothing_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("reachesTheView");

        QTest::newRow("Escape") << u"Escape"_s << false;
        QTest::newRow("Ctrl+W") << u"ctrl+w"_s << false;
        QTest::newRow("Ctrl+Q") << u"ctrl+q"_s << false;
        QTest::newRow("Alt+F4, the window manager's close") << u"alt+F4"_s << false;
        QTest::newRow("Ctrl+Shift+Q") << u"ctrl+shift+q"_s << true;
    }

    void closingKeysDoNothing()
    {
        QFETCH(QString, keys);
        QFETCH(bool, reachesTheView);

        ShownAlert alert;
        QVERIFY(alert.ready());
        QTRY_COMPARE(outOfFront(alert.id()), QStringList{});
        QStringList reached;
        KeyRecorder recorder(reached);
        alert.manager.alertWindow()->contentItem()->installEventFilter(&recorder);
        // A key that passes after the one under test: once it has arrived, the other has been handled.
        pressKeys({keys, u"x"_s});
        QTRY_VERIFY(reached.contains(u"X"_s));
        QCOMPARE(reached.size() == 2, reachesTheView);
        QVERIFY(alert.manager.isShowingAlert() && alert.manager.alertWindow()->isVisible() && !alert.ended);
    }

    void answersAClick()
    {
        ShownAlert alert;
        QVERIFY(alert.ready());
        const QQuickItem *dismiss =
            alert.manager.alertWindow()->rootObject()->findChild<QQuickItem *>(u"dismissButton"_s);
        QVERIFY(dismiss);
        const QPoint centre = alert.manager.alertWindow()->mapToGlobal(
            dismiss->mapToScene(QPointF(dismiss->width() / 2, dismiss->height() / 2)).toPoint());
        CapturedOutput output;
        click(centre);
        const bool endedInTime = QTest::qWaitFor([&] { return alert.ended; }, 5000);
        // Read before checking: a failure message must not vanish into the captured output.
        const QStringList lines = output.lines();
        QVERIFY(endedInTime);
        QVERIFY(!alert.manager.isShowingAlert());
        QCOMPARE(lines, QStringList{u"Test alert action: dismiss"_s});
    }

    // 0 is the primary screen, k the (k+1)-th; a screen that is not there means the primary one.
    void landsOnTheChosenScreen_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("screen");

        QTest::newRow("0: primary") << 0 << 0;
        QTest::newRow("1: the second") << 1 << 1;
        QTest::newRow("2: no such screen") << 2 << 0;
        QTest::newRow("-1: no such screen") << -1 << 0;
    }

    void landsOnTheChosenScreen()
    {
        QFETCH(int, index);
        QFETCH(int, screen);

        const QList<QScreen *> screens = QGuiApplication::screens();
        QCOMPARE(screens.size(), 2);
        QCOMPARE(screens.first(), QGuiApplication::primaryScreen());
        ShownAlert alert(index);
        QVERIFY(alert.ready());
        QCOMPARE(alert.manager.alertWindow()->screen(), screens.at(screen));
        const QSize size = screens.at(screen)->size();
        const QString geometry = runTool(u"xwininfo"_s, {u"-id"_s, alert.id()});
        QVERIFY2(geometry.contains(u"Absolute upper-left X:  0\n  Absolute upper-left Y:  0\n"_s)
                     && geometry.contains(u"Width: %1\n  Height: %2\n"_s.arg(size.width()).arg(size.height())),
                 qPrintable(geometry));
    }

    // The bug was a hidden alert window refusing the quit that follows the answer.
    void theTestAlertExitsOnItsAnswer()
    {
        QProcess bellwick;
        bellwick.start(QStringLiteral(BELLWICK_BINARY), {u"--test-alert"_s});
        const QString window =
            runTool(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--pid"_s,
                                   QString::number(bellwick.processId()), u"--name"_s, u"^Upcoming"_s});
        QVERIFY(!window.isEmpty());
        QTRY_COMPARE(outOfFront(hex(window)), QStringList{});
        pressKeys({u"Tab"_s, u"Tab"_s, u"Return"_s});
        QVERIFY(bellwick.waitForFinished(10'000));
        QCOMPARE(bellwick.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(bellwick.readAllStandardOutput()), u"Test alert action: dismiss\n"_s);
    }

    // Last: a quit that goes through closes every window of this process.
    void aQuitIsNeverRefusedByTheAlert()
    {
        ShownAlert alert;
        QVERIFY(alert.ready());
        QMetaObject::invokeMethod(
            qApp, [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
        // Refused, the quit would leave the loop running: this ends it with a failing status instead.
        QTimer::singleShot(10s, qApp, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

private:
    // Records the keys that reach an item, by their text.
    class KeyRecorder : public QObject
    {
    public:
        explicit KeyRecorder(QStringList &keys) : m_keys(keys) { }

    protected:
        bool eventFilter(QObject *watched, QEvent *event) override
        {
            const auto *key = static_cast<QKeyEvent *>(event);
            if (event->type() == QEvent::KeyPress && (key->key() < Qt::Key_Shift || key->key() > Qt::Key_Alt)) {
                m_keys << QKeySequence(key->keyCombination()).toString();
            }
            return QObject::eventFilter(watched, event);
        }

    private:
        QStringList &m_keys;
    };
};

QTEST_MAIN(AlertWindowTest)
#include "tst_alertwindow.moc"
