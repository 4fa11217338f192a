#include "capturedoutput.h"
#include "monitoring/alertmanager.h"
#include "platform/manualclock.h"

#include <QGuiApplication>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// Runs on an offscreen platform configured with no screen at all.
class AlertWithoutScreenTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsAsShowingAndClosesByItself()
    {
        QVERIFY(!QGuiApplication::primaryScreen());
        const QDateTime start(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);
        ManualClock clock(start.addSecs(-60));
        AlertManager manager(clock);
        QStringList actions;

        test::CapturedOutput output;
        manager.showAlert(
            CalendarEvent(
                {.providerID = u"test"_s, .originalID = u"a"_s, .startDate = start, .endDate = start.addSecs(1800)}),
            [&](AlertAction action) { actions << action.text(); });
        QCOMPARE(output.lines(), QStringList{u"No main screen available"_s});
        QVERIFY(manager.isShowingAlert());
        QVERIFY(!manager.alertWindow());

        for (int second = 0; second < 7 * 60; ++second) {
            clock.advance(1s);
            QCoreApplication::sendPostedEvents();
        }
        QCOMPARE(actions, QStringList{u"dismiss"_s});
        QVERIFY(!manager.isShowingAlert());
    }
};

QTEST_MAIN(AlertWithoutScreenTest)
#include "tst_alertwithoutscreen.moc"
