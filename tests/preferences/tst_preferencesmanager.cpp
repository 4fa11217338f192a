#include "capturedoutput.h"
#include "files.h"
#include "platform/dockpresence.h"
#include "platform/loginitem.h"
#include "preferences/preferencesmanager.h"
#include "preferences/userdefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace bellwick;
using namespace Qt::StringLiterals;

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
    QVERIFY(test::writeFile(settingsPath(), bytes));
    // QSettings keeps files it has read in a cache checked by size and time; a distinct time makes each test's
    // file count as changed even when the previous one had the same size.
    static int written = 0;
    QFile file(settingsPath());
    QVERIFY(file.open(QIODevice::ReadWrite)
            && file.setFileTime(QDateTime::currentDateTime().addSecs(-++written), QFileDevice::FileModificationTime));
}

QJsonObject storedSettings()
{
    return QJsonDocument::fromJson(test::readFile(settingsPath())).object();
}

// One start of Bellwick's preferences over the session's config folder; a new one is a restart.
struct Start {
    explicit Start(const QString &program = u"/usr/bin/bellwick"_s) : login(program) { }

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

    void defaultsAndWhatResetRestores_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("standard");
        QTest::addColumn<QVariant>("changed");
        QTest::addColumn<bool>("reset");

        const auto integer = [](qint64 value) { return QVariant::fromValue(value); };
        const auto options = [](QList<qint64> value) { return QVariant::fromValue(value); };
        const auto scheme = [](AlertColorScheme value) { return QVariant::fromValue(value); };
        const auto style = [](SnoozeStyle value) { return QVariant::fromValue(value); };
        const auto row = [](const char *key) -> QTestData & { return QTest::newRow(key) << QString::fromLatin1(key); };

        row("alertMinutesBefore") << integer(3) << integer(10) << true;
        row("pollingIntervalSeconds") << integer(30) << integer(60) << true;
        row("defaultSnoozeDuration") << integer(5) << integer(10) << true;
        row("customSnoozeOptions") << options({1, 5, 10, 15}) << options({15, 2}) << true;
        row("launchAtLogin") << QVariant(false) << QVariant(true) << true;
        row("showInDock") << QVariant(false) << QVariant(true) << true;
        row("playSound") << QVariant(true) << QVariant(false) << true;
        // A text that looks like a number stays a text.
        row("soundName") << QVariant(u"Glass"_s) << QVariant(u"5"_s) << true;
        row("showJoinButton") << QVariant(true) << QVariant(false) << true;
        row("autoDismissAfterStart") << QVariant(true) << QVariant(false) << true;
        row("autoDismissMinutes") << integer(5) << integer(2) << true;
        row("screenToUse") << integer(0) << integer(1) << true;
        row("alertOpacity") << QVariant(0.95) << QVariant(0.5) << true;
        row("showEventNotes") << QVariant(false) << QVariant(true) << true;
        row("minimumMeetingDuration") << integer(0) << integer(15) << true;
        row("alertColorScheme") << scheme(AlertColorScheme::purple) << scheme(AlertColorScheme::red) << false;
        row("includeAllDayEvents") << QVariant(false) << QVariant(true) << true;
        row("enabledCalendarIDs") << QVariant() << QVariant(QStringList{u"work"_s}) << true;
        // An empty selection is not the absence of one.
        QTest::newRow("enabledCalendarIDs, none")
            << u"enabledCalendarIDs"_s << QVariant() << QVariant(QStringList()) << true;
        row("outlookEnabled") << QVariant(false) << QVariant(true) << true;
        row("hasBeenLaunched") << QVariant(false) << QVariant(true) << false;
        // The stored Outlook session was issued to this client.
        row("outlookClientID") << QVariant(QString()) << QVariant(u"8e1f-42"_s) << false;
        row("snoozeStyle") << style(SnoozeStyle::relative) << style(SnoozeStyle::absolute) << false;
    }

    void defaultsAndWhatResetRestores()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, standard);
        QFETCH(QVariant, changed);
        QFETCH(bool, reset);
        const QByteArray name = key.toLatin1();
        const QVariant afterReset = reset ? standard : changed;

        {
            Start start;
            QCOMPARE(start.preferences.property(name), standard);
            // A first start writes nothing.
            QVERIFY(!QFile::exists(settingsPath()));
            const QMetaObject *meta = start.preferences.metaObject();
            QSignalSpy notified(&start.preferences, meta->property(meta->indexOfProperty(name)).notifySignal());
            QVERIFY(start.preferences.setProperty(name, standard));
            QVERIFY(start.preferences.setProperty(name, changed));
            QCOMPARE(notified.size(), 1);
        }
        {
            Start restart;
            QCOMPARE(restart.preferences.property(name), changed);
            restart.preferences.resetToDefaults();
            QCOMPARE(restart.preferences.property(name), afterReset);
        }
        QCOMPARE(Start().preferences.property(name), afterReset);
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
    }

    void clampsApplyToWhatIsWritten_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<qint64>("assigned");
        QTest::addColumn<qint64>("written");

        QTest::newRow("minutes above range") << u"alertMinutesBefore"_s << qint64(20) << qint64(15);
        QTest::newRow("minutes below range") << u"alertMinutesBefore"_s << qint64(0) << qint64(1);
        QTest::newRow("minutes at the top") << u"alertMinutesBefore"_s << qint64(15) << qint64(15);
        QTest::newRow("interval below range") << u"pollingIntervalSeconds"_s << qint64(5) << qint64(10);
        QTest::newRow("interval above range") << u"pollingIntervalSeconds"_s << qint64(600) << qint64(300);
        QTest::newRow("interval at the bottom") << u"pollingIntervalSeconds"_s << qint64(10) << qint64(10);
        QTest::newRow("snooze is not clamped") << u"defaultSnoozeDuration"_s << qint64(-4) << qint64(-4);
        QTest::newRow("64-bit value") << u"screenToUse"_s << qint64(5000000000) << qint64(5000000000);
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
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QVariant>("expected");

        const QVariant purple = QVariant::fromValue(AlertColorScheme::purple);
        const QVariant standardOptions = QVariant::fromValue(QList<qint64>{1, 5, 10, 15});
        const QVariant three = QVariant::fromValue(qint64(3));

        const auto row = [](const char *name, const char *key, const char *stored, const QVariant &expected) {
            QTest::newRow(name) << QString::fromLatin1(key) << QByteArray(stored) << expected;
        };
        row("display name is no scheme", "alertColorScheme", R"("Dark")", purple);
        row("scheme of the wrong kind", "alertColorScheme", "2", purple);
        row("style in other case", "snoozeStyle", R"("remind me at...")", QVariant::fromValue(SnoozeStyle::relative));
        row("opacity zero", "alertOpacity", "0.0", 0.95);
        row("opacity below the alert's floor", "alertOpacity", "0.1", 0.1);
        row("opacity written as integer", "alertOpacity", "1", 1.0);
        row("opacity as text", "alertOpacity", R"("0.5")", 0.95);
        row("options with a text", "customSnoozeOptions", R"([1, "5"])", standardOptions);
        row("options with a fraction", "customSnoozeOptions", "[2, 3.5]", standardOptions);
        row("options not a list", "customSnoozeOptions", "5", standardOptions);
        row("empty options", "customSnoozeOptions", "[]", QVariant::fromValue(QList<qint64>{}));
        row("calendars not a list", "enabledCalendarIDs", R"("work")", QVariant());
        row("calendars with a number", "enabledCalendarIDs", R"(["work", 1])", QVariant());
        row("sound name of the wrong kind", "soundName", "7", u"Glass"_s);
        row("integer as text", "alertMinutesBefore", R"("5")", three);
        row("integer as Boolean", "alertMinutesBefore", "true", three);
        row("integer read without clamping", "alertMinutesBefore", "99", QVariant::fromValue(qint64(99)));
        row("Boolean as number", "playSound", "0", true);
        row("Outlook client ID of the wrong kind", "outlookClientID", "42", QString());
    }

    void malformedValuesFallBack()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, stored);
        QFETCH(QVariant, expected);

        writeSettings("{\"" + key.toLatin1() + "\": " + stored + '}');
        const Start start;
        QCOMPARE(start.preferences.property(key.toLatin1()), expected);
    }

    // The texts the settings file holds; the settings window's menus show the names.
    void optionTypesKeepTheirStoredTexts()
    {
        QStringList raw;
        for (const AlertColorScheme scheme : allAlertColorSchemes) {
            QCOMPARE(alertColorSchemeFromRawValue(rawValue(scheme)), scheme);
            raw << rawValue(scheme);
        }
        for (const SnoozeStyle style : allSnoozeStyles) {
            QCOMPARE(snoozeStyleFromRawValue(rawValue(style)), style);
            raw << rawValue(style);
        }
        QCOMPARE(raw, (QStringList{u"purple"_s, u"dark"_s, u"blue"_s, u"red"_s, u"green"_s, u"orange"_s,
                                   u"Remind me in..."_s, u"Remind me at..."_s}));
    }

    void launchAtLoginWritesAValidAutostartEntry_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");

        QTest::newRow("plain path") << u"/usr/bin/bellwick"_s << u"Exec=/usr/bin/bellwick"_s;
        QTest::newRow("space and percent") << u"/opt/My Apps/bell%wick"_s << u"Exec=\"/opt/My Apps/bell%%wick\""_s;
        // Quoting escapes the quote and the dollar; the entry's own escaping then doubles each backslash.
        QTest::newRow("quote and dollar") << u"/home/a\"b/$x"_s << u"Exec=\"/home/a\\\\\"b/\\\\$x\""_s;
    }

    void launchAtLoginWritesAValidAutostartEntry()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);

        Start start(program);
        start.preferences.setLaunchAtLogin(true);
        const QString entry = QString::fromUtf8(test::readFile(AutostartLoginItem::entryPath()));
        QVERIFY2(entry.split(u'\n').contains(exec), qPrintable(entry));
        const QString validator = QStandardPaths::findExecutable(u"desktop-file-validate"_s);
        if (!validator.isEmpty()) {
            QProcess validate;
            validate.start(validator, {AutostartLoginItem::entryPath()});
            QVERIFY(validate.waitForFinished());
            QVERIFY2(validate.exitCode() == 0, validate.readAllStandardOutput().constData());
        }

        start.preferences.setLaunchAtLogin(false);
        QVERIFY(!QFile::exists(AutostartLoginItem::entryPath()));
    }

    // What cannot be written is said once, and the values hold until Bellwick quits.
    void failedWritesKeepTheValues_data()
    {
        QTest::addColumn<QString>("blocked");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("printed");

        QTest::newRow("login item refused") << u"/autostart"_s << QByteArray("launchAtLogin") << QVariant(true)
                                            << u"Failed to update launch at login: Could not create"_s;
        QTest::newRow("settings folder unwritable")
            << u"/bellwick"_s << QByteArray("alertMinutesBefore") << QVariant::fromValue(qint64(12))
            << u"Failed to save settings to "_s;
    }

    void failedWritesKeepTheValues()
    {
        QFETCH(QString, blocked);
        QFETCH(QByteArray, key);
        QFETCH(QVariant, value);
        QFETCH(QString, printed);

        // A file where the folder should be: refused even when running as root.
        QFile blocker(configHome() + blocked);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        Start start;
        test::CapturedOutput output;
        QVERIFY(start.preferences.setProperty(key, value));
        start.preferences.setPlaySound(false);
        const QStringList lines = output.lines();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith(printed), qPrintable(lines.first()));
        QCOMPARE(start.preferences.property(key), value);
        QVERIFY(!start.preferences.playSound());
        // Only the login item failed: the settings file still took the change.
        QCOMPARE(storedSettings().value(QString::fromLatin1(key)).toVariant(),
                 blocked == u"/autostart"_s ? value : QVariant());
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

    void unreadableFilesAreNeverOverwritten_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("brokenLater");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QString>("keptAs");

        // A file that holds no settings is moved aside, never over an earlier copy, and a fresh one started; one that
        // cannot be opened (no contents here: a folder), or breaks while Bellwick runs, stays as it is.
        const QByteArray broken = R"({"alertMinutesBefore": 7,)";
        const QString unterminated = u"unterminated object at byte 25"_s;
        QTest::newRow("not JSON") << broken << false << unterminated << u".corrupt"_s;
        QTest::newRow("not an object") << QByteArray("[1, 2]") << false << u"not a JSON object"_s << u".corrupt.1"_s;
        QTest::newRow("a folder in its place") << QByteArray() << false << u"file to open is a directory"_s << u""_s;
        QTest::newRow("broken while running") << broken << true << unterminated << u""_s;
    }

    void unreadableFilesAreNeverOverwritten()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, brokenLater);
        QFETCH(QString, reason);
        QFETCH(QString, keptAs);
        if (contents.isEmpty()) {
            QVERIFY(QDir().mkpath(settingsPath()));
        } else {
            writeSettings(brokenLater ? R"({"playSound": false})" : contents);
        }
        const QString earlierCopy = settingsPath() + u".corrupt"_s;
        QVERIFY(keptAs != u".corrupt.1"_s || test::writeFile(earlierCopy, "earlier"));

        test::CapturedOutput output;
        {
            Start start;
            if (brokenLater) {
                writeSettings(contents);
            }
            start.preferences.setAlertMinutesBefore(9);
            QCOMPARE(start.preferences.alertMinutesBefore(), 9);
            // What was read before the file broke stays.
            QCOMPARE(start.preferences.playSound(), !brokenLater);
        }
        const QString outcome = keptAs.isEmpty()
                                    ? u"left it as it is, and changes last until Bellwick quits"_s
                                    : u"kept it as %1 and started with defaults"_s.arg(settingsPath() + keptAs);
        QCOMPARE(output.lines(),
                 QStringList{u"Settings file %1 could not be read (%2); "_s.arg(settingsPath(), reason) + outcome});
        if (contents.isEmpty()) {
            QVERIFY(QFileInfo(settingsPath()).isDir());
        } else {
            QCOMPARE(test::readFile(settingsPath() + keptAs), contents);
        }
        if (!keptAs.isEmpty()) {
            // The change went to a fresh file.
            QCOMPARE(Start().preferences.alertMinutesBefore(), 9);
        }
        if (keptAs == u".corrupt.1"_s) {
            QCOMPARE(test::readFile(earlierCopy), QByteArray("earlier"));
        }
    }
};

QTEST_GUILESS_MAIN(PreferencesManagerTest)
#include "tst_preferencesmanager.moc"
