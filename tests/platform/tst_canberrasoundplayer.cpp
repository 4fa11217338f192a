#include "platform/canberrasoundplayer.h"

#include <QFile>
#include <QSet>
#include <QTest>

using namespace bellwick;

class CanberraSoundPlayerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachAlertSoundIsADistinctSoundOfTheTheme()
    {
        QSet<QByteArray> ids;
        for (const QString &name : alertSoundNames) {
            const QByteArray id = CanberraSoundPlayer::eventId(name);
            QVERIFY2(QFile::exists(
                         QStringLiteral("/usr/share/sounds/freedesktop/stereo/%1.oga").arg(QString::fromLatin1(id))),
                     qPrintable(name));
            ids.insert(id);
        }
        QCOMPARE(ids.size(), alertSoundNames.size());
        // A hand-edited name that is none of them plays nothing.
        QVERIFY(CanberraSoundPlayer::eventId(QStringLiteral("Doorbell")).isEmpty());
    }
};

QTEST_GUILESS_MAIN(CanberraSoundPlayerTest)
#include "tst_canberrasoundplayer.moc"
