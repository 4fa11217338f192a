#include "app/translations.h"
#include "appharness.h"
#include "ui/alertpresenter.h"
#include "ui/menubarpresenter.h"

#include <QKeySequence>
#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);

enum class Text { panelMore, countdown, minutes, keys };

CalendarEvent meeting(int index, qint64 startsInSeconds)
{
    return CalendarEvent({
        .providerID = u"eventkit"_s,
        .originalID = QString::number(index),
        .title = u"Meeting"_s,
        .startDate = t0.addSecs(startsInSeconds),
        .endDate = t0.addSecs(startsInSeconds + 1800),
    });
}

// The text as the user sees it, for `count` items or seconds.
QString shown(Text text, int count)
{
    switch (text) {
    case Text::panelMore: {
        AppHarness harness(t0, R"({"hasBeenLaunched": true})");
        QList<CalendarEvent> events;
        for (int i = 0; i < UpcomingEventsModel::maximumRows + count; ++i) {
            events.append(meeting(i, 600 + i * 60));
        }
        harness.calendar->setEvents(events);
        harness.launch();
        return MenuBarPresenter(*harness.app, harness.clock).moreText();
    }
    case Text::countdown: {
        ManualClock clock(t0);
        return AlertPresenter(meeting(0, -count), {}, clock).countdownText();
    }
    case Text::minutes:
        // The settings' menus name their choices with it.
        return QCoreApplication::translate("bellwick::SettingsPresenter", "%n minute(s)", nullptr, count);
    case Text::keys:
        return QKeySequence(Qt::CTRL | Qt::Key_Q).toString(QKeySequence::NativeText);
    }
    return {};
}

} // namespace

Q_DECLARE_METATYPE(Text)

// The texts of a German and an English user, and the English plural forms for a language without a translation.
class TranslationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textsInTheUsersLanguage_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<Text>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("expected");

        const QLocale german(QLocale::German, QLocale::Germany);
        const QLocale english(QLocale::English, QLocale::UnitedStates);
        const QLocale french(QLocale::French, QLocale::France);
        QTest::newRow("de: one more") << german << Text::panelMore << 1 << u"+ 1 weiterer"_s;
        QTest::newRow("de: three more") << german << Text::panelMore << 3 << u"+ 3 weitere"_s;
        QTest::newRow("en: three more") << english << Text::panelMore << 3 << u"+ 3 more"_s;
        QTest::newRow("de: started") << german << Text::countdown << 42 << u"Begann vor 0:42"_s;
        QTest::newRow("en: started") << english << Text::countdown << 42 << u"Started 0:42 ago"_s;
        QTest::newRow("de: 1 minute") << german << Text::minutes << 1 << u"1 Minute"_s;
        QTest::newRow("de: 2 minutes") << german << Text::minutes << 2 << u"2 Minuten"_s;
        QTest::newRow("fr, untranslated: 1 minute") << french << Text::minutes << 1 << u"1 minute"_s;
        QTest::newRow("de: Qt's key names") << german << Text::keys << 0 << u"Strg+Q"_s;
        QTest::newRow("en: Qt's key names") << english << Text::keys << 0 << u"Ctrl+Q"_s;
    }

    void textsInTheUsersLanguage()
    {
        QFETCH(QLocale, locale);
        QFETCH(Text, text);
        QFETCH(int, count);
        QFETCH(QString, expected);

        installTranslations(locale);
        QCOMPARE(shown(text, count), expected);
    }
};

QTEST_MAIN(TranslationsTest)
#include "tst_translations.moc"
