#include "capturedoutput.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace bellwick;

namespace {

QString configHome()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

QString settingsPath()
{
    return UserDefaults::standardPath();
}

void writeSettings(const QByteArray &bytes)
{
    QDir().mkpath(configHome() + QStringLiteral("/bellwick"));
    QFile file(settingsPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.flush();
    // QSettings keeps files it has read in a cache checked by size and time; a distinct time makes each test's
    // file count as changed even when the previous one had the same size.
    static int written = 0;
    file.setFileTime(QDateTime::currentDateTime().addSecs(-++written), QFileDevice::FileModificationTime);
}

// A file where a folder of the config home should be: refused even when running as root.
void blockFolder(const QString &folder)
{
    QFile blocker(configHome() + folder);
    QVERIFY(blocker.open(QIODevice::WriteOnly));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject storedSettings()
{
    return QJsonDocument::fromJson(readFile(settingsPath())).object();
}

// One start of Bellwick's preferences over the session's config folder; a new one is a restart.
struct Start {
    explicit Start(const QString &program = QStringLiteral("/usr/bin/bellwick")) : login(program) { }

    UserDefaults defaults;
    AutostartLoginItem login;
    DockPresence dock;
    PreferencesManager preferences{defaults, login, dock};
};

} // namespace

class PreferencesManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        for (const char *folder : {"/bellwick", "/autostart"}) {
            const QString path = configHome() + QLatin1String(folder);
            QDir(path).removeRecursively();
            QFile::remove(path);
        }
    }

    void firstStartWritesNothing()
    {
        Start start;
        const PreferencesManager &p = start.preferences;
        QCOMPARE(p.alertMinutesBefore(), 3);
        QCOMPARE(p.customSnoozeOptions(), (QList<qint64>{1, 5, 10, 15}));
        QCOMPARE(p.alertOpacity(), 0.95);
        QCOMPARE(p.soundName(), QStringLiteral("Glass"));
        QCOMPARE(p.snoozeStyle(), SnoozeStyle::relative);
        QVERIFY(!p.enabledCalendarIDs().has_value());
        QVERIFY(!QFile::exists(settingsPath()));
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
    }

    void clampsApplyToWhatIsWritten_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<qint64>("assigned");
        QTest::addColumn<qint64>("written");

        QTest::newRow("minutes above range") << "alertMinutesBefore" << qint64(20) << qint64(15);
        QTest::newRow("minutes below range") << "alertMinutesBefore" << qint64(0) << qint64(1);
        QTest::newRow("minutes at the top") << "alertMinutesBefore" << qint64(15) << qint64(15);
        QTest::newRow("interval below range") << "pollingIntervalSeconds" << qint64(5) << qint64(10);
        QTest::newRow("interval above range") << "pollingIntervalSeconds" << qint64(600) << qint64(300);
        QTest::newRow("interval at the bottom") << "pollingIntervalSeconds" << qint64(10) << qint64(10);
        QTest::newRow("snooze is not clamped") << "defaultSnoozeDuration" << qint64(-4) << qint64(-4);
        QTest::newRow("64-bit value") << "screenToUse" << qint64(5000000000) << qint64(5000000000);
    }

    void clampsApplyToWhatIsWritten()
    {
        QFETCH(QString, key);
        QFETCH(qint64, assigned);
        QFETCH(qint64, written);

        {
            Start start;
            QVERIFY(start.preferences.setProperty(key.toLatin1(), assigned));
            QCOMPARE(start.preferences.property(key.toLatin1()).toLongLong(), assigned);
        }
        QCOMPARE(storedSettings().value(key).toInteger(-1), written);
        Start restart;
        QCOMPARE(restart.preferences.property(key.toLatin1()).toLongLong(), written);
    }

    void malformedValuesFallBack_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("expected");

        const auto scheme = [](AlertColorScheme s) { return QVariant::fromValue(s); };
        const auto style = [](SnoozeStyle s) { return QVariant::fromValue(s); };
        const auto options = [](QList<qint64> o) { return QVariant::fromValue(o); };

        QTest::newRow("known scheme") << QByteArray(R"({"alertColorScheme": "red"})") << "alertColorScheme"
                                      << scheme(AlertColorScheme::red);
        QTest::newRow("display name is no scheme")
            << QByteArray(R"({"alertColorScheme": "Dark"})") << "alertColorScheme" << scheme(AlertColorScheme::purple);
        QTest::newRow("scheme of the wrong kind")
            << QByteArray(R"({"alertColorScheme": 2})") << "alertColorScheme" << scheme(AlertColorScheme::purple);
        QTest::newRow("absolute style") << QByteArray(R"({"snoozeStyle": "Remind me at..."})") << "snoozeStyle"
                                        << style(SnoozeStyle::absolute);
        QTest::newRow("style in other case")
            << QByteArray(R"({"snoozeStyle": "remind me at..."})") << "snoozeStyle" << style(SnoozeStyle::relative);
        QTest::newRow("opacity zero") << QByteArray(R"({"alertOpacity": 0.0})") << "alertOpacity" << QVariant(0.95);
        QTest::newRow("opacity below the alert's floor")
            << QByteArray(R"({"alertOpacity": 0.1})") << "alertOpacity" << QVariant(0.1);
        QTest::newRow("opacity written as integer")
            << QByteArray(R"({"alertOpacity": 1})") << "alertOpacity" << QVariant(1.0);
        QTest::newRow("opacity as text") << QByteArray(R"({"alertOpacity": "0.5"})") << "alertOpacity"
                                         << QVariant(0.95);
        QTest::newRow("options with a text")
            << QByteArray(R"({"customSnoozeOptions": [1, "5"]})") << "customSnoozeOptions" << options({1, 5, 10, 15});
        QTest::newRow("options with a fraction")
            << QByteArray(R"({"customSnoozeOptions": [2, 3.5]})") << "customSnoozeOptions" << options({1, 5, 10, 15});
        QTest::newRow("options not a list")
            << QByteArray(R"({"customSnoozeOptions": 5})") << "customSnoozeOptions" << options({1, 5, 10, 15});
        QTest::newRow("empty options") << QByteArray(R"({"customSnoozeOptions": []})") << "customSnoozeOptions"
                                       << options({});
        QTest::newRow("options keep their order")
            << QByteArray(R"({"customSnoozeOptions": [30, 2]})") << "customSnoozeOptions" << options({30, 2});
        QTest::newRow("calendars not a list")
            << QByteArray(R"({"enabledCalendarIDs": "work"})") << "enabledCalendarIDs" << QVariant();
        QTest::newRow("calendars with a number")
            << QByteArray(R"({"enabledCalendarIDs": ["work", 1]})") << "enabledCalendarIDs" << QVariant();
        QTest::newRow("calendars") << QByteArray(R"({"enabledCalendarIDs": ["work", "home"]})") << "enabledCalendarIDs"
                                   << QVariant(QStringList{QStringLiteral("home"), QStringLiteral("work")});
        QTest::newRow("sound name missing")
            << QByteArray(R"({"playSound": false})") << "soundName" << QVariant(QStringLiteral("Glass"));
        QTest::newRow("sound name of the wrong kind")
            << QByteArray(R"({"soundName": 7})") << "soundName" << QVariant(QStringLiteral("Glass"));
        QTest::newRow("integer as text") << QByteArray(R"({"alertMinutesBefore": "5"})") << "alertMinutesBefore"
                                         << QVariant(qint64(3));
        QTest::newRow("integer as Boolean")
            << QByteArray(R"({"alertMinutesBefore": true})") << "alertMinutesBefore" << QVariant(qint64(3));
        QTest::newRow("integer read without clamping")
            << QByteArray(R"({"alertMinutesBefore": 99})") << "alertMinutesBefore" << QVariant(qint64(99));
        QTest::newRow("Boolean as number") << QByteArray(R"({"playSound": 0})") << "playSound" << QVariant(true);
        QTest::newRow("Boolean") << QByteArray(R"({"playSound": false})") << "playSound" << QVariant(false);
    }

    void malformedValuesFallBack()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, key);
        QFETCH(QVariant, expected);

        writeSettings(json);
        const Start start;
        QCOMPARE(start.preferences.property(key.toLatin1()), expected);
    }

    void optionTypesRoundTripTheirRawTexts()
    {
        QSet<QString> names;
        for (const AlertColorScheme scheme : allAlertColorSchemes) {
            QCOMPARE(alertColorSchemeFromRawValue(rawValue(scheme)), scheme);
            names.insert(displayName(scheme));
            const auto [start, end] = gradientColors(scheme);
            QCOMPARE(start.alphaF(), 1.0f);
            QCOMPARE(end.alphaF(), 1.0f);
            // Every gradient brightens towards its end.
            QVERIFY(end.redF() >= start.redF() && end.greenF() >= start.greenF() && end.blueF() >= start.blueF());
            QVERIFY(end.lightnessF() > start.lightnessF());
        }
        QCOMPARE(names.size(), int(allAlertColorSchemes.size()));
        QVERIFY(!alertColorSchemeFromRawValue(displayName(AlertColorScheme::dark)));
        for (const SnoozeStyle style : allSnoozeStyles) {
            QCOMPARE(snoozeStyleFromRawValue(rawValue(style)), style);
        }
    }

    void calendarSelectionEmptyIsNotAbsent()
    {
        {
            Start start;
            QSignalSpy changed(&start.preferences, &PreferencesManager::enabledCalendarIDsChanged);
            start.preferences.setEnabledCalendarIDs(QSet<QString>());
            QCOMPARE(changed.size(), 1);
        }
        QCOMPARE(storedSettings().value(QStringLiteral("enabledCalendarIDs")).toArray().size(), 0);
        QVERIFY(storedSettings().contains(QStringLiteral("enabledCalendarIDs")));
        {
            Start restart;
            QCOMPARE(restart.preferences.enabledCalendarIDs(), std::optional(QSet<QString>()));
            restart.preferences.setEnabledCalendarIDs(std::nullopt);
        }
        QVERIFY(!storedSettings().contains(QStringLiteral("enabledCalendarIDs")));
        QVERIFY(!Start().preferences.enabledCalendarIDs().has_value());
    }

    void storedTypesSurviveARestart()
    {
        {
            Start start;
            start.preferences.setCustomSnoozeOptions({2, 4, 8});
            start.preferences.setAlertOpacity(0.5);
            start.preferences.setSoundName(QStringLiteral("5"));
            start.preferences.setAlertColorScheme(AlertColorScheme::orange);
            start.preferences.setSnoozeStyle(SnoozeStyle::absolute);
        }
        const QByteArray file = readFile(settingsPath());
        QVERIFY2(file.contains(R"("soundName": "5")"), file.constData());
        QVERIFY2(file.contains(R"("alertColorScheme": "orange")"), file.constData());
        QVERIFY2(file.contains(R"("snoozeStyle": "Remind me at...")"), file.constData());
        const Start restart;
        QCOMPARE(restart.preferences.customSnoozeOptions(), (QList<qint64>{2, 4, 8}));
        QCOMPARE(restart.preferences.alertOpacity(), 0.5);
        QCOMPARE(restart.preferences.soundName(), QStringLiteral("5"));
        QCOMPARE(restart.preferences.alertColorScheme(), AlertColorScheme::orange);
        QCOMPARE(restart.preferences.snoozeStyle(), SnoozeStyle::absolute);
    }

    void rawValuesKeepTheirTypes()
    {
        {
            UserDefaults defaults;
            defaults.setValue(QStringLiteral("mixed"),
                              QVariantList{QVariant::fromValue(qint64(1)), QStringLiteral("5")});
            defaults.setValue(QStringLiteral("whole"), QVariant::fromValue(qint64(3)));
            defaults.setValue(QStringLiteral("flag"), true);
        }
        UserDefaults restarted;
        const std::optional<QVariantList> mixed = restarted.array(QStringLiteral("mixed"));
        QVERIFY(mixed && mixed->size() == 2);
        QCOMPARE(mixed->at(0).metaType().id(), QMetaType::LongLong);
        QCOMPARE(mixed->at(1).metaType().id(), QMetaType::QString);
        QVERIFY(!restarted.stringArray(QStringLiteral("mixed")));
        QCOMPARE(restarted.integer(QStringLiteral("whole")), 3);
        QVERIFY(!restarted.boolean(QStringLiteral("whole")));
        QVERIFY(restarted.boolean(QStringLiteral("flag")));
        QCOMPARE(restarted.integer(QStringLiteral("flag")), 0);
    }

    void changesNotifyOnlyWhenTheValueChanges()
    {
        Start start;
        QSignalSpy changed(&start.preferences, &PreferencesManager::alertMinutesBeforeChanged);
        start.preferences.setAlertMinutesBefore(3);
        QCOMPARE(changed.size(), 0);
        start.preferences.setAlertMinutesBefore(7);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(storedSettings().value(QStringLiteral("alertMinutesBefore")).toInteger(), 7);
    }

    void resetKeepsSchemeStyleAndFirstLaunchMarker()
    {
        Start start;
        PreferencesManager &p = start.preferences;
        p.setAlertColorScheme(AlertColorScheme::red);
        p.setSnoozeStyle(SnoozeStyle::absolute);
        p.setHasBeenLaunched(true);
        p.setAlertMinutesBefore(10);
        p.setLaunchAtLogin(true);
        p.setEnabledCalendarIDs(QSet<QString>{QStringLiteral("work")});
        p.setAlertOpacity(0.4);

        p.resetToDefaults();

        QCOMPARE(p.alertColorScheme(), AlertColorScheme::red);
        QCOMPARE(p.snoozeStyle(), SnoozeStyle::absolute);
        QVERIFY(p.hasBeenLaunched());
        QCOMPARE(p.alertMinutesBefore(), 3);
        QCOMPARE(p.alertOpacity(), 0.95);
        QVERIFY(!p.launchAtLogin());
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
        QVERIFY(!storedSettings().contains(QStringLiteral("enabledCalendarIDs")));
        QCOMPARE(storedSettings().value(QStringLiteral("alertMinutesBefore")).toInteger(), 3);
    }

    void launchAtLoginWritesAValidAutostartEntry_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");

        QTest::newRow("plain path") << "/usr/bin/bellwick"
                                    << "Exec=/usr/bin/bellwick";
        QTest::newRow("space and percent") << "/opt/My Apps/bell%wick"
                                           << "Exec=\"/opt/My Apps/bell%%wick\"";
        // Quoting escapes the quote and the dollar; the entry's own escaping then doubles each backslash.
        QTest::newRow("quote and dollar") << "/home/a\"b/$x"
                                          << "Exec=\"/home/a\\\\\"b/\\\\$x\"";
    }

    void launchAtLoginWritesAValidAutostartEntry()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);

        Start start(program);
        start.preferences.setLaunchAtLogin(true);
        const QString entry = QString::fromUtf8(readFile(AutostartLoginItem::entryPath()));
        QVERIFY2(entry.split(u'\n').contains(exec), qPrintable(entry));
        const QString validator = QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate"));
        if (!validator.isEmpty()) {
            QProcess validate;
            validate.start(validator, {AutostartLoginItem::entryPath()});
            QVERIFY(validate.waitForFinished());
            QVERIFY2(validate.exitCode() == 0, validate.readAllStandardOutput().constData());
        }

        start.preferences.setLaunchAtLogin(false);
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
    }

    void refusedLoginItemKeepsTheToggle()
    {
        blockFolder(QStringLiteral("/autostart"));

        Start start;
        test::CapturedOutput output;
        start.preferences.setLaunchAtLogin(true);
        const QStringList lines = output.lines();

        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith(QStringLiteral("Failed to update launch at login: Could not create")),
                 qPrintable(lines.first()));
        QVERIFY(start.preferences.launchAtLogin());
        QVERIFY(storedSettings().value(QStringLiteral("launchAtLogin")).toBool());
    }

    void sideEffectsFollowChangesNotTheStart()
    {
        writeSettings(R"({"showInDock": true, "launchAtLogin": true})");
        Start start;
        QCoreApplication::processEvents();
        QCOMPARE(start.dock.policy(), DockPresence::Policy::accessory);
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
        QVERIFY(start.preferences.launchAtLogin());

        start.preferences.setShowInDock(true);
        QCOMPARE(start.dock.policy(), DockPresence::Policy::accessory);
        QTRY_COMPARE(start.dock.policy(), DockPresence::Policy::regular);
        start.preferences.setShowInDock(false);
        QTRY_COMPARE(start.dock.policy(), DockPresence::Policy::accessory);
    }

    void unreadableFileIsKeptAside()
    {
        writeSettings("{\"alertMinutesBefore\": 7,");
        {
            test::CapturedOutput output;
            Start start;
            const QStringList lines = output.lines();
            QCOMPARE(lines.size(), 1);
            QVERIFY2(lines.first().contains(QStringLiteral("settings.json.corrupt")), qPrintable(lines.first()));
            QCOMPARE(start.preferences.alertMinutesBefore(), 3);
            start.preferences.setAlertMinutesBefore(9);
        }
        QCOMPARE(readFile(settingsPath() + QStringLiteral(".corrupt")), QByteArray("{\"alertMinutesBefore\": 7,"));
        QCOMPARE(Start().preferences.alertMinutesBefore(), 9);

        writeSettings("[1, 2]");
        test::CapturedOutput secondOutput;
        const Start again;
        QCOMPARE(secondOutput.lines().size(), 1);
        QCOMPARE(readFile(settingsPath() + QStringLiteral(".corrupt.1")), QByteArray("[1, 2]"));
        QCOMPARE(readFile(settingsPath() + QStringLiteral(".corrupt")), QByteArray("{\"alertMinutesBefore\": 7,"));
    }

    void unwritableFolderKeepsValuesInMemory()
    {
        blockFolder(QStringLiteral("/bellwick"));

        Start start;
        test::CapturedOutput output;
        start.preferences.setAlertMinutesBefore(12);
        start.preferences.setPlaySound(false);
        const QStringList lines = output.lines();

        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith(QStringLiteral("Failed to save settings to ")), qPrintable(lines.first()));
        QCOMPARE(start.preferences.alertMinutesBefore(), 12);
        QVERIFY(!start.preferences.playSound());
    }
};

QTEST_GUILESS_MAIN(PreferencesManagerTest)
#include "tst_preferencesmanager.moc"
