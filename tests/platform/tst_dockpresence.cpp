#include "platform/dockpresence.h"
#include "xtools.h"

#include <QRasterWindow>
#include <QTest>

#include <array>

using namespace bellwick;
using namespace Qt::StringLiterals;
using enum DockPresence::Policy;
using Policies = QList<DockPresence::Policy>;

namespace {

const QString skipTaskbar = u"_NET_WM_STATE_SKIP_TASKBAR"_s;
const QString skipPager = u"_NET_WM_STATE_SKIP_PAGER"_s;
const QString above = u"_NET_WM_STATE_ABOVE"_s;

// The states under test that the window has, as the window manager and the taskbar read them.
QStringList states(const QWindow &window)
{
    const QString output = test::runTool(u"xprop"_s, {u"-id"_s, QString::number(window.winId()), u"_NET_WM_STATE"_s});
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
    }
};

QTEST_MAIN(DockPresenceTest)
#include "tst_dockpresence.moc"
