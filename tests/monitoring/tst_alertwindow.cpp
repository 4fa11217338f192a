#include "capturedoutput.h"
#include "monitoring/alertmanager.h"
#include "monitoring/alertwindow.h"
#include "platform/systemclock.h"
#include "ui/rendering.h"
#include "ui/testalert.h"

#include <QProcess>
#include <QQuickItem>
#include <QScreen>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// As the application draws it.
const bool rendersLikeTheApp = [] {
    chooseSceneGraphBackend();
    return true;
}();

// Runs an X tool and hands back what it printed, trimmed.
QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10'000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString hex(WId window)
{
    return u"0x%1"_s.arg(window, 0, 16);
}

// The client windows bottom to top, as the window manager stacks them.
QStringList stacking()
{
    const QString line = run(u"xprop"_s, {u"-root"_s, u"_NET_CLIENT_LIST_STACKING"_s});
    QStringList windows;
    for (const QString &id : line.section(u'#', 1).split(u',', Qt::SkipEmptyParts)) {
        windows << u"0x%1"_s.arg(id.trimmed().toULongLong(nullptr, 16), 0, 16);
    }
    return windows;
}

} // namespace

// A real alert window under Xvfb with openbox, driven through the X server as a user would.
class AlertWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void coversTheScreenStaysOnTopAndEndsOnlyThroughItsButtons()
    {
        QVERIFY(rendersLikeTheApp);
        SystemClock clock;
        AlertManager manager(clock);
        bool ended = false;
        showTestAlert(manager, {}, clock.now(), [&] { ended = true; });
        AlertWindow *window = manager.alertWindow();
        QVERIFY(window);
        QVERIFY(QTest::qWaitForWindowExposed(window));
        const QString alert = hex(window->winId());

        const QRect screen = window->screen()->geometry();
        const QString geometry = run(u"xwininfo"_s, {u"-id"_s, alert});
        QVERIFY2(geometry.contains(u"Absolute upper-left X:  0"_s) && geometry.contains(u"Absolute upper-left Y:  0"_s)
                     && geometry.contains(u"Width: %1"_s.arg(screen.width()))
                     && geometry.contains(u"Height: %1"_s.arg(screen.height())),
                 qPrintable(geometry));

        QProcess xterm;
        xterm.start(u"xterm"_s, {u"-T"_s, u"covering"_s});
        const QString terminal = run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--name"_s, u"^covering$"_s});
        QVERIFY(!terminal.isEmpty());
        run(u"xdotool"_s, {u"windowactivate"_s, terminal});
        // The alert stays above the activated terminal and takes the keyboard back.
        QTRY_COMPARE(stacking().value(stacking().size() - 1), alert);
        QTRY_COMPARE_WITH_TIMEOUT(hex(run(u"xdotool"_s, {u"getactivewindow"_s}).toULongLong()), alert, 5000);

        for (const QString &keys : {u"Escape"_s, u"ctrl+w"_s, u"ctrl+q"_s, u"alt+F4"_s}) {
            run(u"xdotool"_s, {u"key"_s, keys});
            QTest::qWait(300);
            QVERIFY2(manager.isShowingAlert() && window->isVisible(), qPrintable(keys));
        }
        QVERIFY(!ended);

        QVERIFY(window->rootObject());
        const auto *dismiss = window->rootObject()->findChild<QQuickItem *>(u"dismissButton"_s);
        QVERIFY(dismiss);
        const QPoint centre =
            window->mapToGlobal(dismiss->mapToScene(QPointF(dismiss->width() / 2, dismiss->height() / 2)).toPoint());
        test::CapturedOutput output;
        run(u"xdotool"_s,
            {u"mousemove"_s, QString::number(centre.x()), QString::number(centre.y()), u"click"_s, u"1"_s});
        const bool endedInTime = QTest::qWaitFor([&] { return ended; }, 5000);
        // Read before checking: a failure message must not vanish into the captured output.
        const QStringList lines = output.lines();
        QVERIFY(endedInTime);
        QVERIFY(!manager.isShowingAlert());
        QCOMPARE(lines, QStringList{u"Test alert action: dismiss"_s});

        xterm.kill();
        xterm.waitForFinished();
    }
};

QTEST_MAIN(AlertWindowTest)
#include "tst_alertwindow.moc"
