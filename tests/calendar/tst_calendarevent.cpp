#include "calendar/calendarevent.h"

#include <QSet>
#include <QTest>

#include <unordered_set>

using namespace bellwick;

namespace {

CalendarEvent::Fields fields(const QString &originalID, const QString &title)
{
    const QDateTime start(QDate(2026, 11, 23), QTime(10, 0), Qt::UTC);
    return {
        .providerID = QStringLiteral("eventkit"),
        .originalID = originalID,
        .title = title,
        .notes = QStringLiteral("Call: https://zoom.us/j/42"),
        .location = QStringLiteral("Room 1"),
        .startDate = start,
        .endDate = start.addSecs(1800),
        .calendarName = QStringLiteral("Work"),
    };
}

} // namespace

class CalendarEventTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idJoinsProviderAndOriginalID()
    {
        QCOMPARE(CalendarEvent(fields(QStringLiteral("ABC-1"), QStringLiteral("Standup"))).id(),
                 QStringLiteral("eventkit_ABC-1"));
        auto outlook = fields(QStringLiteral("AAMk_x"), QStringLiteral("Standup"));
        outlook.providerID = QStringLiteral("outlook");
        QCOMPARE(CalendarEvent(outlook).id(), QStringLiteral("outlook_AAMk_x"));
    }

    void identityIsTheIdAlone()
    {
        const CalendarEvent first(fields(QStringLiteral("1"), QStringLiteral("Standup")));
        auto changed = fields(QStringLiteral("1"), QStringLiteral("Standup (moved)"));
        changed.startDate = changed.startDate.addDays(1);
        changed.notes = std::nullopt;
        const CalendarEvent moved(changed);
        const CalendarEvent other(fields(QStringLiteral("2"), QStringLiteral("Standup")));

        QVERIFY(first == moved);
        QVERIFY(!(first == other));
        QCOMPARE(qHash(first), qHash(moved));
        QCOMPARE(std::hash<CalendarEvent>{}(first), std::hash<CalendarEvent>{}(moved));
        QCOMPARE(QSet<CalendarEvent>({first, moved, other}).size(), 2);
        QCOMPARE(std::unordered_set<CalendarEvent>({first, moved, other}).size(), 2u);
    }

    void linkIsFoundWhenNoneIsHandedIn()
    {
        const CalendarEvent event(fields(QStringLiteral("1"), QStringLiteral("Standup")));
        QCOMPARE(event.meetingURL(), QUrl(QStringLiteral("https://zoom.us/j/42")));
        QCOMPARE(event.meetingType(), MeetingType::zoom);
    }

    void handedInLinkIsTakenUnchanged()
    {
        auto withJoinLink = fields(QStringLiteral("1"), QStringLiteral("Standup"));
        withJoinLink.meetingURL = QUrl(QStringLiteral("https://teams.microsoft.com/l/meetup-join/abc"));
        const CalendarEvent event(withJoinLink);
        QCOMPARE(event.meetingURL(), QUrl(QStringLiteral("https://teams.microsoft.com/l/meetup-join/abc")));
        QCOMPARE(event.meetingType(), MeetingType::teams);
    }

    void handedInLinkWithoutHostHasNoType()
    {
        auto withDialIn = fields(QStringLiteral("1"), QStringLiteral("Standup"));
        withDialIn.meetingURL = QUrl(QStringLiteral("tel:+15551234"));
        const CalendarEvent event(withDialIn);
        QCOMPARE(event.meetingURL(), QUrl(QStringLiteral("tel:+15551234")));
        QVERIFY(!event.meetingType());
    }

    void noNotesNoLocationNoLink()
    {
        auto bare = fields(QStringLiteral("1"), QStringLiteral("Focus time"));
        bare.notes = std::nullopt;
        bare.location = std::nullopt;
        const CalendarEvent event(bare);
        QVERIFY(!event.meetingURL());
        QVERIFY(!event.meetingType());
    }
};

QTEST_GUILESS_MAIN(CalendarEventTest)
#include "tst_calendarevent.moc"
