#include "appharness.h"
#include "timezone.h"
#include "ui/menubarpresenter.h"
#include "ui/panelwindow.h"

#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const bool pinned = pinEnglishInUtc();

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);

CalendarEvent listedEvent(int index, qint64 startsInMs, std::optional<CalendarColor> color = std::nullopt,
                          bool withLink = false)
{
    const QDateTime start = t0.addMSecs(startsInMs);
    return CalendarEvent({
        .providerID = u"eventkit"_s,
        .originalID = QString::number(index),
        .title = u"Meeting %1"_s.arg(index),
        .location = withLink ? std::optional(u"https://acme.zoom.us/j/1"_s) : std::nullopt,
        .startDate = start,
        .endDate = start.addSecs(3600),
        .calendarColor = color,
    });
}

// The panel over an application state whose list holds `events`, as listed at t0.
struct Panel {
    explicit Panel(const QList<CalendarEvent> &events)
    {
        harness.calendar->setEvents(events);
        harness.launch();
    }

    [[nodiscard]] QVariant row(int index, UpcomingEventsModel::Role role)
    {
        return presenter.events()->data(presenter.events()->index(index), role);
    }

    AppHarness harness{t0, R"({"hasBeenLaunched": true})"};
    MenuBarPresenter presenter{*harness.app, harness.clock};
};

} // namespace

Q_DECLARE_METATYPE(bellwick::PanelColor)

class MenuBarPresenterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(pinned); }

    void timesOfARow_data()
    {
        QTest::addColumn<qint64>("startsInMs");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("relative");
        QTest::addColumn<PanelColor>("color");

        QTest::newRow("59:59 ahead") << 3'599'000LL << u"9:59 AM"_s << u"59m"_s << PanelColor::secondary;
        QTest::newRow("60:00 ahead") << 3'600'000LL << u"10:00 AM"_s << u"1h"_s << PanelColor::secondary;
        QTest::newRow("1:59:59 ahead") << 7'199'000LL << u"10:59 AM"_s << u"1h"_s << PanelColor::secondary;
        QTest::newRow("2:00:00 ahead") << 7'200'000LL << u"11:00 AM"_s << u"2h"_s << PanelColor::secondary;
        QTest::newRow("6:00 ahead") << 360'000LL << u"9:06 AM"_s << u"6m"_s << PanelColor::secondary;
        QTest::newRow("5:59.9 ahead") << 359'900LL << u"9:05 AM"_s << u"5m"_s << PanelColor::orange;
        QTest::newRow("20 s ahead") << 20'000LL << u"9:00 AM"_s << u"0m"_s << PanelColor::orange;
        QTest::newRow("starting now") << 0LL << u"9:00 AM"_s << u"0m"_s << PanelColor::red;
        QTest::newRow("started 20 s ago") << -20'000LL << u"8:59 AM"_s << u"0m"_s << PanelColor::red;
        QTest::newRow("started 90 s ago") << -90'000LL << u"8:58 AM"_s << u"now"_s << PanelColor::red;
    }

    void timesOfARow()
    {
        QFETCH(qint64, startsInMs);
        QFETCH(QString, time);
        QFETCH(QString, relative);
        QFETCH(PanelColor, color);

        Panel panel({listedEvent(1, startsInMs)});
        QCOMPARE(panel.row(0, UpcomingEventsModel::timeTextRole).toString(), time);
        QCOMPARE(panel.row(0, UpcomingEventsModel::relativeTimeTextRole).toString(), relative);
        QCOMPARE(panel.row(0, UpcomingEventsModel::timeColorRole).value<QColor>(), panelColor(color));
    }

    void rowsAndTheCountOfTheRest_data()
    {
        QTest::addColumn<int>("listed");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("more");

        QTest::newRow("none") << 0 << 0 << QString();
        QTest::newRow("five") << 5 << 5 << QString();
        QTest::newRow("six") << 6 << 5 << u"+ 1 more"_s;
        QTest::newRow("twelve") << 12 << 5 << u"+ 7 more"_s;
    }

    void rowsAndTheCountOfTheRest()
    {
        QFETCH(int, listed);
        QFETCH(int, rows);
        QFETCH(QString, more);

        QList<CalendarEvent> events;
        for (int i = 0; i < listed; ++i) {
            events.append(listedEvent(i, (i + 10) * 60'000LL));
        }
        Panel panel(events);
        QCOMPARE(panel.presenter.hasEvents(), listed > 0);
        QCOMPARE(panel.presenter.events()->rowCount(), rows);
        QCOMPARE(panel.presenter.moreText(), more);
        for (int i = 0; i < rows; ++i) {
            QCOMPARE(panel.row(i, UpcomingEventsModel::titleRole).toString(), u"Meeting %1"_s.arg(i));
        }
    }

    void calendarDotAndLinkSymbol()
    {
        Panel panel(
            {listedEvent(1, 600'000, std::nullopt, true), listedEvent(2, 700'000, CalendarColor{1, 0.5, 0, 0.2})});
        QCOMPARE(panel.row(0, UpcomingEventsModel::dotColorRole).value<QColor>(), panelColor(PanelColor::blue));
        QCOMPARE(panel.row(0, UpcomingEventsModel::hasMeetingLinkRole).toBool(), true);
        // Drawn at full opacity whatever the calendar's alpha.
        QCOMPARE(panel.row(1, UpcomingEventsModel::dotColorRole).value<QColor>(), QColor::fromRgbF(1, 0.5, 0));
        QCOMPARE(panel.row(1, UpcomingEventsModel::hasMeetingLinkRole).toBool(), false);
    }

    void statusDot_data()
    {
        QTest::addColumn<std::optional<ProviderStatus>>("status");
        QTest::addColumn<std::optional<ProviderStatus>>("outlook");
        QTest::addColumn<PanelColor>("color");

        const std::optional<ProviderStatus> none,
            disconnected = ProviderStatus::disconnected(), connected = ProviderStatus::connected(),
            denied = ProviderStatus::permissionDenied(), error = ProviderStatus::error(u"offline"_s);
        QTest::newRow("no entry") << none << none << PanelColor::gray;
        QTest::newRow("disconnected") << disconnected << none << PanelColor::gray;
        QTest::newRow("connected") << connected << none << PanelColor::green;
        QTest::newRow("permission denied") << denied << none << PanelColor::red;
        QTest::newRow("error") << error << none << PanelColor::orange;
        QTest::newRow("another source connected") << disconnected << connected << PanelColor::gray;
        QTest::newRow("another source in error") << connected << error << PanelColor::orange;
        QTest::newRow("another source in error, access denied") << denied << error << PanelColor::red;
    }

    void statusDot()
    {
        QFETCH(std::optional<ProviderStatus>, status);
        QFETCH(std::optional<ProviderStatus>, outlook);
        QFETCH(PanelColor, color);
        QMap<QString, ProviderStatus> statuses;
        for (const auto &[key, entry] :
             {std::pair(systemCalendarStatusKey, status), std::pair(outlookStatusKey, outlook)}) {
            if (entry) {
                statuses.insert(key, *entry);
            }
        }
        QCOMPARE(statusColor(statuses), color);
    }

    void followsTheStateAndTheClock()
    {
        AppHarness harness(t0, R"({"hasBeenLaunched": true})");
        harness.calendar->granted = false;
        MenuBarPresenter presenter(*harness.app, harness.clock);
        QCOMPARE(presenter.statusColor(), panelColor(PanelColor::gray));
        harness.launch();
        QCOMPARE(presenter.statusColor(), panelColor(PanelColor::red));

        harness.calendar->granted = true;
        harness.calendar->setEvents({listedEvent(1, 600'000)});
        harness.app->refresh();
        harness.settle();
        const QModelIndex row = presenter.events()->index(0);
        QCOMPARE(row.data(UpcomingEventsModel::relativeTimeTextRole).toString(), u"10m"_s);

        presenter.setLive(true);
        harness.run(2min);
        QCOMPARE(row.data(UpcomingEventsModel::relativeTimeTextRole).toString(), u"8m"_s);
        presenter.setLive(false);
        harness.run(2min);
        QCOMPARE(row.data(UpcomingEventsModel::relativeTimeTextRole).toString(), u"8m"_s);
    }

    void panelOpensBesideItsAnchor_data()
    {
        QTest::addColumn<QRect>("anchor");
        QTest::addColumn<QPoint>("position");

        QTest::newRow("icon at the top right: below it, inside the screen")
            << QRect(1257, 1, 22, 22) << QPoint(1000, 27);
        QTest::newRow("icon at the bottom: above it") << QRect(600, 780, 22, 20) << QPoint(470, 576);
        QTest::newRow("pointer at the left edge") << QRect(3, 300, 1, 1) << QPoint(0, 305);
    }

    void panelOpensBesideItsAnchor()
    {
        QFETCH(QRect, anchor);
        QFETCH(QPoint, position);
        // A 1280×800 screen under a 24-pixel tray bar.
        QCOMPARE(panelPosition(anchor, QSize(280, 200), QRect(0, 24, 1280, 776)), position);
    }
};

QTEST_MAIN(MenuBarPresenterTest)
#include "tst_menubarpresenter.moc"
