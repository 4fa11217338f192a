#include "platform/manualclock.h"
#include "ui/alertpresenter.h"

#include <QSignalSpy>
#include <QTest>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// Before anything reads the locale: time texts are en_US ones in UTC.
const bool pinned = [] {
    qputenv("LC_ALL", "en_US.UTF-8");
    qputenv("TZ", "UTC");
    return true;
}();

const QDateTime nine(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);

CalendarEvent meetingAtNine()
{
    return CalendarEvent({
        .providerID = u"test"_s,
        .originalID = u"sync"_s,
        .title = u"Sync"_s,
        .location = u"https://acme.zoom.us/j/123"_s,
        .startDate = nine,
        .endDate = nine.addSecs(1800),
    });
}

using Options = QList<SnoozeOption>;

} // namespace

Q_DECLARE_METATYPE(bellwick::SnoozeOption)

class AlertPresenterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(pinned); }

    void textsAndChoices_data()
    {
        QTest::addColumn<qint64>("msecsBeforeStart");
        QTest::addColumn<SnoozeStyle>("style");
        QTest::addColumn<QString>("countdown");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("startLine");
        QTest::addColumn<Options>("options");
        QTest::addColumn<bool>("remindAtStart");

        const auto relative = [](std::initializer_list<int> minutes) {
            Options options;
            for (const int m : minutes) {
                options.append({m, u"%1 min"_s.arg(m)});
            }
            return options;
        };
        // Ten minutes would end exactly at the start, under the 45 seconds a reminder needs.
        QTest::newRow("10:00 before, relative") << 600'000LL << SnoozeStyle::relative << u"10:00"_s << u"Starts in"_s
                                                << u"Starts at 9:00 AM"_s << relative({1, 2, 5}) << true;
        QTest::newRow("16 minutes before, relative: four at most")
            << 960'000LL << SnoozeStyle::relative << u"16:00"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << relative({1, 2, 5, 10}) << true;
        QTest::newRow("15:44 before, relative: 15 min falls 44 s short")
            << 944'000LL << SnoozeStyle::relative << u"15:44"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << relative({1, 2, 5, 10}) << true;
        QTest::newRow("3:30 before, absolute: 8:57 is only 30 s away")
            << 210'000LL << SnoozeStyle::absolute << u"3:30"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << Options{{2, u"8:58 AM"_s}, {3, u"8:59 AM"_s}} << true;
        QTest::newRow("20 minutes before, absolute: the four earliest")
            << 1'200'000LL << SnoozeStyle::absolute << u"20:00"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << Options{{5, u"8:45 AM"_s}, {10, u"8:50 AM"_s}, {15, u"8:55 AM"_s}, {17, u"8:57 AM"_s}} << true;
        QTest::newRow("1:50 before, absolute: 50 s away hands on 1 minute")
            << 110'000LL << SnoozeStyle::absolute << u"1:50"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << Options{{1, u"8:59 AM"_s}} << true;
        QTest::newRow("two hours and five seconds before")
            << 7'205'000LL << SnoozeStyle::relative << u"120:05"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << relative({1, 2, 5, 10}) << true;
        QTest::newRow("1.5 s before: one whole second left")
            << 1'500LL << SnoozeStyle::relative << u"0:01"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s << Options{}
            << true;
        QTest::newRow("under a second before, relative")
            << 400LL << SnoozeStyle::relative << u"Starting now!"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << Options{} << false;
        QTest::newRow("under a second before, absolute")
            << 400LL << SnoozeStyle::absolute << u"Starting now!"_s << u"Starts in"_s << u"Starts at 9:00 AM"_s
            << Options{} << false;
        QTest::newRow("under a second after") << -400LL << SnoozeStyle::relative << u"Starting now!"_s
                                              << u"Meeting Started"_s << u"Started at 9:00 AM"_s << Options{} << false;
        QTest::newRow("75 s after") << -75'000LL << SnoozeStyle::relative << u"Started 1:15 ago"_s
                                    << u"Meeting Started"_s << u"Started at 9:00 AM"_s << Options{} << false;
    }

    void textsAndChoices()
    {
        QFETCH(qint64, msecsBeforeStart);
        QFETCH(SnoozeStyle, style);
        QFETCH(QString, countdown);
        QFETCH(QString, label);
        QFETCH(QString, startLine);
        QFETCH(Options, options);
        QFETCH(bool, remindAtStart);

        ManualClock clock(nine.addMSecs(-msecsBeforeStart));
        const AlertPresenter presenter(meetingAtNine(), {.snoozeStyle = style}, clock);
        QCOMPARE(presenter.countdownText(), countdown);
        QCOMPARE(presenter.countdownLabel(), label);
        QCOMPARE(presenter.startTimeText(), startLine);
        QCOMPARE(presenter.snoozeOptions(), options);
        QCOMPARE(presenter.offersReminderAtStart(), remindAtStart);
        QCOMPARE(presenter.snoozeHeading(), style == SnoozeStyle::relative ? u"Remind me in:"_s : u"Remind me at:"_s);
    }

    void theViewsClockFollowsTheTimer()
    {
        ManualClock clock(nine.addSecs(-62));
        AlertPresenter presenter(meetingAtNine(), {}, clock);
        QSignalSpy changed(&presenter, &AlertPresenter::currentTimeChanged);
        QCOMPARE(presenter.snoozeOptions().size(), 0);
        clock.advance(2500ms);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(presenter.countdownText(), u"1:00"_s);
        QCOMPARE(presenter.serviceName(), u"Zoom"_s);
        QVERIFY(presenter.hasMeetingLink());
    }
};

QTEST_GUILESS_MAIN(AlertPresenterTest)
#include "tst_alertpresenter.moc"
