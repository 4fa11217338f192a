#include "capturedoutput.h"
#include "platform/manualclock.h"
#include "timezone.h"
#include "ui/alertpresenter.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>

using namespace bellwick;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const bool pinned = test::pinEnglishInUtc();

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
using OptionalText = std::optional<QString>;

Options minutes(std::initializer_list<int> choices)
{
    Options options;
    for (const int m : choices) {
        options.append({m, u"%1 min"_s.arg(m)});
    }
    return options;
}

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
        QTest::addColumn<bool>("started");
        QTest::addColumn<Options>("options");
        QTest::addColumn<bool>("remindAtStart");

        using enum SnoozeStyle;
        // Ten minutes would end exactly at the start, under the 45 seconds a reminder needs.
        QTest::newRow("10:00 before, relative")
            << 600'000LL << relative << u"10:00"_s << false << minutes({1, 2, 5}) << true;
        QTest::newRow("5:45 before, relative: 5 min ends 45 s early")
            << 345'000LL << relative << u"5:45"_s << false << minutes({1, 2, 5}) << true;
        QTest::newRow("5:44 before, relative: 5 min ends 44 s early")
            << 344'000LL << relative << u"5:44"_s << false << minutes({1, 2}) << true;
        QTest::newRow("3:30 before, absolute: 8:57 is only 30 s away")
            << 210'000LL << absolute << u"3:30"_s << false << Options{{2, u"8:58 AM"_s}, {3, u"8:59 AM"_s}} << true;
        QTest::newRow("20 minutes before, absolute: the four earliest")
            << 1'200'000LL << absolute << u"20:00"_s << false
            << Options{{5, u"8:45 AM"_s}, {10, u"8:50 AM"_s}, {15, u"8:55 AM"_s}, {17, u"8:57 AM"_s}} << true;
        QTest::newRow("1:45 before, absolute: 8:59 is 45 s away")
            << 105'000LL << absolute << u"1:45"_s << false << Options{{1, u"8:59 AM"_s}} << true;
        QTest::newRow("1:44 before, absolute: 8:59 is 44 s away")
            << 104'000LL << absolute << u"1:44"_s << false << Options{} << true;
        QTest::newRow("two hours and five seconds before")
            << 7'205'000LL << relative << u"120:05"_s << false << minutes({1, 2, 5, 10}) << true;
        QTest::newRow("1.5 s before: one whole second left")
            << 1'500LL << relative << u"0:01"_s << false << Options{} << true;
        QTest::newRow("under a second before")
            << 400LL << relative << u"Starting now!"_s << false << Options{} << false;
        QTest::newRow("exactly at the start") << 0LL << relative << u"Starting now!"_s << true << Options{} << false;
        QTest::newRow("under a second after") << -400LL << relative << u"Starting now!"_s << true << Options{} << false;
        QTest::newRow("75 s after") << -75'000LL << relative << u"Started 1:15 ago"_s << true << Options{} << false;
    }

    void textsAndChoices()
    {
        QFETCH(qint64, msecsBeforeStart);
        QFETCH(SnoozeStyle, style);
        QFETCH(QString, countdown);
        QFETCH(bool, started);
        QFETCH(Options, options);
        QFETCH(bool, remindAtStart);

        ManualClock clock(nine.addMSecs(-msecsBeforeStart));
        const AlertPresenter presenter(meetingAtNine(), {.snoozeStyle = style}, clock);
        QCOMPARE(presenter.countdownText(), countdown);
        QCOMPARE(presenter.countdownLabel(), started ? u"Meeting Started"_s : u"Starts in"_s);
        QCOMPARE(presenter.startTimeText(), started ? u"Started at 9:00 AM"_s : u"Starts at 9:00 AM"_s);
        QCOMPARE(presenter.snoozeOptions(), options);
        QCOMPARE(presenter.offersReminderAtStart(), remindAtStart);
        QCOMPARE(presenter.snoozeHeading(), style == SnoozeStyle::relative ? u"Remind me in:"_s : u"Remind me at:"_s);
    }

    void relativeChoicesComeFromTheUsersList_data()
    {
        QTest::addColumn<QList<int>>("choices");
        QTest::addColumn<int>("minutesBeforeStart");
        QTest::addColumn<Options>("options");
        QTest::addColumn<QStringList>("printed");

        QTest::newRow("the stored default") << QList<int>{1, 5, 10, 15} << 10 << minutes({1, 5}) << QStringList{};
        QTest::newRow("unordered, repeated, and under a minute")
            << QList<int>{30, 3, 0, 3, -5} << 40 << minutes({3, 30})
            << QStringList{u"Snooze choices under one minute are left out: -5, 0"_s};
        QTest::newRow("five that fit: the four shortest")
            << QList<int>{20, 4, 1, 3, 2} << 30 << minutes({1, 2, 3, 4}) << QStringList{};
        QTest::newRow("too long to fit in any day")
            << QList<int>{std::numeric_limits<int>::max()} << 30 << Options{} << QStringList{};
        QTest::newRow("none") << QList<int>{} << 30 << Options{} << QStringList{};
    }

    void relativeChoicesComeFromTheUsersList()
    {
        QFETCH(QList<int>, choices);
        QFETCH(int, minutesBeforeStart);
        QFETCH(Options, options);
        QFETCH(QStringList, printed);

        ManualClock clock(nine.addSecs(-60 * minutesBeforeStart));
        test::CapturedOutput output;
        const AlertPresenter presenter(meetingAtNine(), {.snoozeMinutes = choices}, clock);
        QCOMPARE(output.lines(), printed);
        QCOMPARE(presenter.snoozeOptions(), options);
    }

    // Whether notes are shown at all, and the join button, is the view test's matter.
    void notesAsShown_data()
    {
        QTest::addColumn<OptionalText>("notes");
        QTest::addColumn<QString>("shown");

        QTest::newRow("no notes") << OptionalText() << QString();
        QTest::newRow("plain text keeps its brackets and loses its blank runs")
            << OptionalText(u"  Dial in:\r\n<https://meet.example.com/x>  \r\n\r\n\r\n\r\nBye "_s)
            << u"Dial in:\n<https://meet.example.com/x>\n\nBye"_s;
        QTest::newRow("HTML reduced to text")
            << OptionalText(u"<html><head><style>p { margin: 0 }</style></head><body><p>Budget &amp; plan</p>"
                            "<p>&nbsp;</p><p>&nbsp;</p><p>&nbsp;</p><div>Join: <a href=\"https://teams.microsoft.com/l/"
                            "meetup-join/1\">Click here</a><br>Room&nbsp;4</div><!-- hidden --></body></html>"_s)
            << u"Budget & plan\n\nJoin: Click here\nRoom 4"_s;
    }

    void notesAsShown()
    {
        QFETCH(OptionalText, notes);
        QFETCH(QString, shown);

        ManualClock clock(nine);
        const AlertPresenter presenter(CalendarEvent({.providerID = u"test"_s, .notes = notes, .startDate = nine}),
                                       {.showEventNotes = true}, clock);
        QCOMPARE(presenter.notes(), shown);
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
    }
};

QTEST_GUILESS_MAIN(AlertPresenterTest)
#include "tst_alertpresenter.moc"
