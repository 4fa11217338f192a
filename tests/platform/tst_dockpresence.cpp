#include "platform/dockpresence.h"

#include <QProcess>
#include <QRasterWindow>
#include <QTest>

#include <array>

using namespace bellwick;
using enum DockPresence::Policy;
using Policies = QList<DockPresence::Policy>;

namespace {

const QString skipTaskbar = QStringLiteral("_NET_WM_STATE_SKIP_TASKBAR");
const QString skipPager = QStringLiteral("_NET_WM_STATE_SKIP_PAGER");
const QString above = QStringLiteral("_NET_WM_STATE_ABOVE");

// The states under test that the window has, as the window manager and the taskbar read them.
QStringList states(const QWindow &window)
{
    QProcess xprop;
    xprop.start(QStringLiteral("xprop"),
                {QStringLiteral("-id"), QString::number(window.winId()), QStringLiteral("_NET_WM_STATE")});
    xprop.waitForFinished();
    const QString output = QString::fromLocal8Bit(xprop.readAllStandardOutput());
    QStringList found{above, skipPager, skipTaskbar};
    found.removeIf([&output](const QString &state) { return !output.contains(state); });
    return found;
}

} // namespace

class DockPresenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsThePolicy_data()
    {
        QTest::addColumn<Qt::WindowFlags>("flags");
        QTest::addColumn<Policies>("beforeShow");
        QTest::addColumn<Policies>("afterShow");
        QTest::addColumn<QStringList>("expected");

        const Qt::WindowFlags plain = Qt::Window;
        const Qt::WindowFlags onTop = Qt::Window | Qt::WindowStaysOnTopHint;
        const QStringList skips{skipPager, skipTaskbar};
        QTest::newRow("nothing until asked") << plain << Policies{} << Policies{} << QStringList{};
        QTest::newRow("accessory on mapped") << plain << Policies{} << Policies{accessory} << skips;
        QTest::newRow("accessory on shown later") << plain << Policies{accessory} << Policies{} << skips;
        QTest::newRow("regular on mapped") << plain << Policies{accessory} << Policies{regular} << QStringList{};
        QTest::newRow("regular on shown later") << plain << Policies{accessory, regular} << Policies{} << QStringList{};
        QTest::newRow("accessory keeps above")
            << onTop << Policies{} << Policies{accessory} << QStringList{above} + skips;
        QTest::newRow("regular keeps above") << onTop << Policies{accessory} << Policies{regular} << QStringList{above};
        QTest::newRow("menu untouched") << Qt::WindowFlags(Qt::Popup) << Policies{accessory} << Policies{}
                                        << QStringList{};
    }

    void followsThePolicy()
    {
        QFETCH(Qt::WindowFlags, flags);
        QFETCH(Policies, beforeShow);
        QFETCH(Policies, afterShow);
        QFETCH(QStringList, expected);

        DockPresence presence;
        for (const DockPresence::Policy policy : beforeShow) {
            presence.setPolicy(policy);
        }
        std::array<QRasterWindow, 2> windows;
        for (QRasterWindow &window : windows) {
            window.setFlags(flags);
            window.resize(160, 120);
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
        }
        for (const DockPresence::Policy policy : afterShow) {
            presence.setPolicy(policy);
        }

        for (const QRasterWindow &window : windows) {
            QTRY_COMPARE(states(window), expected);
        }
        const Policies applied = beforeShow + afterShow;
        QCOMPARE(presence.policy(), applied.isEmpty() ? accessory : applied.last());
    }
};

QTEST_MAIN(DockPresenceTest)
#include "tst_dockpresence.moc"
