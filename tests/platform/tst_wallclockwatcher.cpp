#include "capturedoutput.h"
#include "platform/wallclockwatcher.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

using namespace bellwick;
using namespace Qt::StringLiterals;

namespace {

const QString logindService = u"org.freedesktop.login1"_s;
// Qt holds back signals on its default connections until the event loop first runs; named ones have no such delay.
const QString watched = u"watched"_s;

// The bus answers a call after routing all the caller sent before it, and queues the answer behind all it routed to
// the caller; so a round trip on the sender and then on the receiver fences the signals between them.
bool roundTrip(const QDBusConnection &connection)
{
    return connection.interface()->isServiceRegistered(logindService).isValid();
}

QString zoneFile(const QString &zone)
{
    return u"/usr/share/zoneinfo/"_s + zone;
}

// Refuses a symlink: the tests run as root and must never write through one into the zone database.
bool writeZone(const QString &path, const QString &zone)
{
    QFile source(zoneFile(zone));
    QFile target(path);
    return !QFileInfo(path).isSymLink() && source.open(QIODevice::ReadOnly)
           && target.open(QIODevice::WriteOnly | QIODevice::Truncate) && target.write(source.readAll()) > 0;
}

} // namespace

class WallClockWatcherTest : public QObject
{
    Q_OBJECT

public:
    enum class Step { linkRenamedOver, fileRenamedOver, fileRewritten, unrelatedWritten };
    Q_ENUM(Step)
    using Steps = QList<Step>;

private:
    // From Europe/Berlin each step moves to a zone of another size, so a change shows even within one timestamp tick.
    static bool apply(Step step, const QString &localtime, int index)
    {
        const QString zone = QStringList{u"America/New_York"_s, u"Asia/Tokyo"_s, u"Australia/Sydney"_s}.at(index);
        // Like timedatectl: the new entry is made beside the old one and renamed over it.
        const QString fresh = localtime + u".new"_s;
        const auto renameOver = [&] {
            return std::rename(QFile::encodeName(fresh).constData(), QFile::encodeName(localtime).constData()) == 0;
        };
        switch (step) {
        case Step::linkRenamedOver:
            return QFile::link(zoneFile(zone), fresh) && renameOver();
        case Step::fileRenamedOver:
            return writeZone(fresh, zone) && renameOver();
        case Step::fileRewritten:
            return writeZone(localtime, zone);
        case Step::unrelatedWritten:
            return writeZone(QFileInfo(localtime).dir().filePath(u"adjtime"_s), zone);
        }
        return false;
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const QString &name : {watched, u"impostor"_s, u"logind"_s}) {
            QVERIFY(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name).isConnected());
        }
        QVERIFY(QDBusConnection(u"logind"_s).registerService(logindService));
    }

    void followsResume_data()
    {
        QTest::addColumn<QString>("sender");
        QTest::addColumn<QList<bool>>("sleeping");
        QTest::addColumn<int>("emissions");

        QTest::newRow("going to sleep") << u"logind"_s << QList<bool>{true} << 0;
        QTest::newRow("sleep then resume") << u"logind"_s << QList<bool>{true, false} << 1;
        QTest::newRow("resume sent by a client that is not logind") << u"impostor"_s << QList<bool>{false} << 0;
    }

    void followsResume()
    {
        QFETCH(QString, sender);
        QFETCH(QList<bool>, sleeping);
        QFETCH(int, emissions);

        const QDBusConnection bus(watched);
        WallClockWatcher watcher(bus);
        QSignalSpy changed(&watcher, &WallClockWatcher::wallTimeChanged);
        // The watcher's match rule is in place before logind speaks.
        QVERIFY(roundTrip(bus));

        const QDBusConnection from(sender);
        for (const bool value : sleeping) {
            QVERIFY(from.send(QDBusMessage::createSignal(u"/org/freedesktop/login1"_s,
                                                         u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s)
                              << value));
        }
        QVERIFY(roundTrip(from));
        QVERIFY(roundTrip(bus));
        // QtDBus hands signals over to this thread as posted events.
        QCoreApplication::sendPostedEvents();
        QCOMPARE(changed.count(), emissions);
    }

    void followsTheTimeZone_data()
    {
        QTest::addColumn<bool>("startAsLink");
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QString>("bus");

        QTest::newRow("link renamed over, twice")
            << true << Steps{Step::linkRenamedOver, Step::linkRenamedOver} << watched;
        QTest::newRow("file rewritten, twice") << false << Steps{Step::fileRewritten, Step::fileRewritten} << watched;
        QTest::newRow("link replaced by a file, then rewritten")
            << true << Steps{Step::fileRenamedOver, Step::fileRewritten} << watched;
        QTest::newRow("unrelated file, then link renamed over")
            << true << Steps{Step::unrelatedWritten, Step::unrelatedWritten, Step::linkRenamedOver} << watched;
        // Resume goes unwatched then, and says so.
        QTest::newRow("without a bus") << true << Steps{Step::linkRenamedOver} << u"none"_s;
    }

    void followsTheTimeZone()
    {
        QFETCH(bool, startAsLink);
        QFETCH(Steps, steps);
        QFETCH(QString, bus);

        QTemporaryDir folder;
        const QString localtime = folder.filePath(u"localtime"_s);
        const QString berlin = u"Europe/Berlin"_s;
        QVERIFY(startAsLink ? QFile::link(zoneFile(berlin), localtime) : writeZone(localtime, berlin));
        test::CapturedOutput output;
        WallClockWatcher watcher(QDBusConnection(bus), localtime);
        const QStringList lines = output.lines();
        QCOMPARE(lines.size(), bus == watched ? 0 : 1);
        QVERIFY(lines.isEmpty() || lines.first().contains(u"resume from suspend"_s));
        QSignalSpy changed(&watcher, &WallClockWatcher::wallTimeChanged);

        int expected = 0;
        for (int i = 0; i < steps.size(); ++i) {
            QVERIFY(apply(steps[i], localtime, i));
            expected += steps[i] == Step::unrelatedWritten ? 0 : 1;
            // The kernel queues the change's events before the call returns; the wait lets a stray emission show.
            QTest::qWait(100);
            QTRY_COMPARE(changed.count(), expected);
        }
    }
};

QTEST_GUILESS_MAIN(WallClockWatcherTest)
#include "tst_wallclockwatcher.moc"
