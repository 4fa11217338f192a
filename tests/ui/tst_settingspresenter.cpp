#include "agentsession.h"
#include "appharness.h"
#include "calendar/eds/edscalendarprovider.h"
#include "capturedoutput.h"
#include "platform/manualclock.h"
#include "ui/settingspresenter.h"

#include <QSignalSpy>
#include <QTest>

using namespace bellwick;
using namespace bellwick::test;
using namespace Qt::StringLiterals;

namespace {

using IDs = std::optional<QSet<QString>>;

const QDateTime t0(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC);

QVariantList integers(std::initializer_list<qint64> values)
{
    QVariantList list;
    for (const qint64 value : values) {
        list.append(QVariant::fromValue(value));
    }
    return list;
}

// The settings over an application state whose preferences were stored as `settings`.
struct Settings {
    explicit Settings(const QByteArray &settings = R"({"hasBeenLaunched": true})") : harness(t0, settings) { }

    [[nodiscard]] OptionPicker *picker(const QString &name) const
    {
        return presenter.property(name.toLatin1()).value<OptionPicker *>();
    }

    // Waits for the four calendars of the session: the store's two and the seeded two. The registry may report
    // some of them only after it has connected.
    [[nodiscard]] bool list()
    {
        presenter.calendars()->loadCalendars();
        return QTest::qWaitFor([this] { return presenter.calendars()->rowCount() == 4; }, 10'000);
    }

    // The titles of the ticked calendars after a fresh listing.
    [[nodiscard]] QStringList tickedCalendars()
    {
        if (!list()) {
            return {u"(no listing)"_s};
        }
        const CalendarListModel &model = *presenter.calendars();
        QStringList titles;
        for (int row = 0; row < model.rowCount(); ++row) {
            if (model.data(model.index(row), CalendarListModel::checkedRole).toBool()) {
                titles << model.data(model.index(row), CalendarListModel::titleRole).toString();
            }
        }
        titles.sort();
        return titles;
    }

    AppHarness harness;
    SettingsPresenter presenter{*harness.app, store()};

    // One store for the whole run, as the agent keeps one: a registry made right after another was dropped in the
    // same process can come up empty.
    static EdsCalendarProvider &store()
    {
        static ManualClock clock(t0);
        static EdsCalendarProvider provider(clock);
        return provider;
    }
};

} // namespace

Q_DECLARE_METATYPE(bellwick::ProviderStatus)
Q_DECLARE_METATYPE(bellwick::PanelColor)

// What the settings window shows and stores, without the window.
class SettingsPresenterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("BELLWICK_SESSION")) {
            QSKIP("seeds the calendar store, so it runs only inside scripts/session");
        }
        QVERIFY(seedCalendarSource(u"bw-work"_s, "Work"));
        QVERIFY(seedCalendarSource(u"bw-team"_s, "Team"));
    }

    void menus_data()
    {
        QTest::addColumn<QString>("menu");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QStringList>("labels");
        QTest::addColumn<int>("current");
        QTest::addColumn<QVariantList>("values");

        const QStringList minutes{u"1 minute"_s, u"2 minutes"_s, u"5 minutes"_s, u"10 minutes"_s};
        QTest::newRow("refresh of 45 s, shown as it is")
            << u"refreshInterval"_s << u"pollingIntervalSeconds"_s << QByteArray("45")
            << QStringList{u"10 seconds"_s, u"30 seconds"_s, u"1 minute"_s,
                           u"2 minutes"_s,  u"5 minutes"_s,  u"45 seconds"_s}
            << 5 << integers({10, 30, 60, 120, 300});
        QTest::newRow("minimum duration")
            << u"minimumDuration"_s << u"minimumMeetingDuration"_s << QByteArray("15")
            << QStringList{u"All meetings"_s, u"5+ minutes"_s, u"10+ minutes"_s, u"15+ minutes"_s, u"30+ minutes"_s}
            << 3 << integers({0, 5, 10, 15, 30});
        QTest::newRow("alert lead of 45 min, which the monitor holds to 15")
            << u"alertLead"_s << u"alertMinutesBefore"_s << QByteArray("45")
            << QStringList{u"1 minute"_s,   u"2 minutes"_s,  u"3 minutes"_s, u"5 minutes"_s,
                           u"10 minutes"_s, u"15 minutes"_s, u"45 minutes"_s}
            << 6 << integers({1, 2, 3, 5, 10, 15});
        QTest::newRow("sound") << u"alertSound"_s << u"soundName"_s << QByteArray(R"("Glass")") << alertSoundNames << 5
                               << QVariantList(alertSoundNames.cbegin(), alertSoundNames.cend());
        QTest::newRow("default snooze") << u"defaultSnooze"_s << u"defaultSnoozeDuration"_s << QByteArray("30")
                                        << minutes + QStringList{u"15 minutes"_s, u"30 minutes"_s} << 5
                                        << integers({1, 2, 5, 10, 15, 30});
        QTest::newRow("snooze style") << u"snoozeStyle"_s << u"snoozeStyle"_s << QByteArray(R"("Remind me at...")")
                                      << QStringList{u"Remind me in..."_s, u"Remind me at..."_s} << 1
                                      << QVariantList{QVariant::fromValue(SnoozeStyle::relative),
                                                      QVariant::fromValue(SnoozeStyle::absolute)};
        QTest::newRow("dismiss after") << u"dismissAfter"_s << u"autoDismissMinutes"_s << QByteArray("2") << minutes
                                       << 1 << integers({1, 2, 5, 10});
        QTest::newRow("a screen not connected")
            << u"display"_s << u"screenToUse"_s << QByteArray("2")
            << QStringList{u"Main Display"_s, u"Display 3 (not connected)"_s} << 1 << integers({0});
        QVariantList schemes;
        for (const AlertColorScheme scheme : allAlertColorSchemes) {
            schemes << QVariant::fromValue(scheme);
        }
        QTest::newRow("colour scheme")
            << u"colorScheme"_s << u"alertColorScheme"_s << QByteArray(R"("red")")
            << QStringList{u"Purple (Default)"_s, u"Dark"_s, u"Blue"_s, u"Red"_s, u"Green"_s, u"Orange"_s} << 3
            << schemes;
    }

    // Each option stores its own value, and a value no option carries stays until the user picks another.
    void menus()
    {
        QFETCH(QString, menu);
        QFETCH(QString, key);
        QFETCH(QByteArray, stored);
        QFETCH(QStringList, labels);
        QFETCH(int, current);
        QFETCH(QVariantList, values);

        Settings settings(u"{\"%1\": %2}"_s.arg(key, QString::fromUtf8(stored)).toUtf8());
        OptionPicker *picker = settings.picker(menu);
        QCOMPARE(picker->labels(), labels);
        QCOMPARE(picker->currentIndex(), current);
        QCOMPARE(picker->options().value(current).toMap().value(u"label"_s), labels.at(current));

        for (int index = int(values.size()) - 1; index >= 0; --index) {
            picker->pick(index);
            QCOMPARE(settings.harness.preferences.property(key.toLatin1()), values.at(index));
            QCOMPARE(picker->currentIndex(), index);
            QCOMPARE(picker->labels(), labels.first(values.size()));
        }
    }

    // Screens past the first are numbered from 2 and named.
    void displays()
    {
        QStringList shown;
        for (const PickerOption &option : displayOptions({u"DELL U2720Q"_s, u"HDMI-2"_s})) {
            QCOMPARE(option.value, QVariant::fromValue(qint64(shown.size())));
            shown << option.label;
        }
        QCOMPARE(shown, (QStringList{u"Main Display"_s, u"Display 2: DELL U2720Q"_s, u"Display 3: HDMI-2"_s}));
    }

    void opacity_data()
    {
        QTest::addColumn<double>("stored");
        QTest::addColumn<QString>("shown");

        QTest::newRow("0.95") << 0.95 << u"95%"_s;
        QTest::newRow("0.999: the fraction dropped") << 0.999 << u"99%"_s;
        QTest::newRow("0.29, held as 0.28999...") << 0.29 << u"29%"_s;
        QTest::newRow("0.1, below the slider, as it is") << 0.1 << u"10%"_s;
    }

    void opacity()
    {
        QFETCH(double, stored);
        QFETCH(QString, shown);

        Settings settings(u"{\"alertOpacity\": %1}"_s.arg(stored).toUtf8());
        QCOMPARE(settings.presenter.opacityText(), shown);
        // A slider's position lands on the whole percent it shows.
        settings.presenter.setOpacity(0.6499999);
        QCOMPARE(settings.harness.preferences.alertOpacity(), 0.65);
        QCOMPARE(settings.presenter.opacityText(), u"65%"_s);
    }

    void statusLabels_data()
    {
        QTest::addColumn<std::optional<ProviderStatus>>("status");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("icon");
        QTest::addColumn<PanelColor>("color");

        QTest::newRow("no entry") << std::optional<ProviderStatus>() << u"Disconnected"_s << u"network-offline"_s
                                  << PanelColor::secondary;
        QTest::newRow("disconnected") << std::optional(ProviderStatus::disconnected()) << u"Disconnected"_s
                                      << u"network-offline"_s << PanelColor::secondary;
        QTest::newRow("connected") << std::optional(ProviderStatus::connected()) << u"Connected"_s
                                   << u"emblem-default"_s << PanelColor::green;
        QTest::newRow("permission denied") << std::optional(ProviderStatus::permissionDenied())
                                           << u"Permission Denied"_s << u"dialog-warning"_s << PanelColor::red;
        QTest::newRow("error, its message verbatim") << std::optional(ProviderStatus::error(u"Boom: 42"_s))
                                                     << u"Boom: 42"_s << u"dialog-error"_s << PanelColor::orange;
    }

    void statusLabels()
    {
        QFETCH(std::optional<ProviderStatus>, status);
        QFETCH(QString, text);
        QFETCH(QString, icon);
        QFETCH(PanelColor, color);

        QCOMPARE(statusLabel(status), (StatusLabel{text, icon, color}));
    }

    void statusFollowsTheCalendarAccess()
    {
        Settings settings;
        settings.harness.calendar->granted = false;
        QCOMPARE(settings.presenter.statusText(), u"Disconnected"_s);
        QSignalSpy changed(&settings.presenter, &SettingsPresenter::statusChanged);
        settings.harness.launch();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(settings.presenter.statusText(), u"Permission Denied"_s);
        QVERIFY(settings.presenter.permissionDenied());
    }

    void calendarTicks_data()
    {
        QTest::addColumn<IDs>("stored");
        QTest::addColumn<QString>("switched");
        QTest::addColumn<IDs>("storedAfter");
        QTest::addColumn<QStringList>("ticked");

        const QStringList all{u"Birthdays & Anniversaries"_s, u"Personal"_s, u"Team"_s, u"Work"_s};
        QTest::newRow("fresh install: all ticked, nothing stored") << IDs() << QString() << IDs() << all;
        QTest::newRow("untick one: the others stored")
            << IDs() << u"-bw-work"_s << IDs({u"birthdays"_s, u"system-calendar"_s, u"bw-team"_s})
            << QStringList{u"Birthdays & Anniversaries"_s, u"Personal"_s, u"Team"_s};
        QTest::newRow("untick the last: an empty set")
            << IDs({u"bw-work"_s}) << u"-bw-work"_s << IDs(QSet<QString>()) << QStringList{};
        QTest::newRow("a deleted calendar's id stays")
            << IDs({u"bw-gone"_s, u"bw-team"_s}) << u"+bw-work"_s << IDs({u"bw-gone"_s, u"bw-team"_s, u"bw-work"_s})
            << QStringList{u"Team"_s, u"Work"_s};
    }

    void calendarTicks()
    {
        QFETCH(IDs, stored);
        QFETCH(QString, switched);
        QFETCH(IDs, storedAfter);
        QFETCH(QStringList, ticked);

        Settings settings;
        settings.harness.preferences.setEnabledCalendarIDs(stored);
        QVERIFY(settings.list());
        if (!switched.isEmpty()) {
            settings.presenter.calendars()->setCalendarEnabled(switched.mid(1), switched.front() == u'+');
        }
        QCOMPARE(settings.harness.preferences.enabledCalendarIDs(), storedAfter);
        QCOMPARE(settings.tickedCalendars(), ticked);
    }

    void resetShowsTheDefaults()
    {
        Settings settings(R"({"pollingIntervalSeconds": 45, "alertMinutesBefore": 10, "alertOpacity": 0.5,
                              "enabledCalendarIDs": ["bw-team"]})");
        QCOMPARE(settings.tickedCalendars(), QStringList{u"Team"_s});
        settings.presenter.resetToDefaults();
        QCOMPARE(settings.picker(u"refreshInterval"_s)->labels().size(), 5);
        QCOMPARE(settings.picker(u"refreshInterval"_s)->currentIndex(), 1);
        QCOMPARE(settings.picker(u"alertLead"_s)->currentIndex(), 2);
        QCOMPARE(settings.presenter.opacityText(), u"95%"_s);
        QCOMPARE(settings.tickedCalendars().size(), 4);
    }

    void previewPlaysTheChosenSound()
    {
        Settings settings(R"({"soundName": "Ping", "playSound": false})");
        settings.presenter.previewSound();
        QCOMPARE(settings.harness.sound.played, QStringList{u"Ping"_s});
    }

    void systemSettings_data()
    {
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<QString>("opened");

        QTest::newRow("GNOME") << QStringList{u"gnome-control-center"_s, u"evolution"_s}
                               << u"gnome-control-center online-accounts"_s;
        QTest::newRow("Evolution") << QStringList{u"evolution"_s} << u"evolution --component=calendar"_s;
        QTest::newRow("neither") << QStringList{} << QString();
    }

    void systemSettings()
    {
        QFETCH(QStringList, installed);
        QFETCH(QString, opened);

        QTemporaryDir bin;
        const QString log = bin.filePath(u"log"_s);
        for (const QString &program : installed) {
            QVERIFY(writeFile(bin.filePath(program),
                              "#!/bin/sh\necho " + program.toUtf8() + " \"$@\" > '" + log.toUtf8() + "'\n"));
            QVERIFY(QFile::setPermissions(bin.filePath(program), QFile::ReadOwner | QFile::ExeOwner));
        }
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", bin.path().toUtf8());
        Settings settings;
        CapturedOutput output;
        settings.presenter.openSystemSettings();
        qputenv("PATH", path);
        if (opened.isEmpty()) {
            QCOMPARE(output.lines(), QStringList{u"Could not open the online accounts settings: neither "
                                                 "gnome-control-center nor evolution could be started"_s});
            return;
        }
        QTRY_COMPARE(QString::fromUtf8(readFile(log)).trimmed(), opened);
    }
};

QTEST_MAIN(SettingsPresenterTest)
#include "tst_settingspresenter.moc"
