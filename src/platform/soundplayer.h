#pragma once

#include <QString>
#include <QStringList>

namespace bellwick {

// The alert sounds the settings offer, by the names the preferences store.
inline const QStringList alertSoundNames{QStringLiteral("Basso"),     QStringLiteral("Blow"),  QStringLiteral("Bottle"),
                                         QStringLiteral("Frog"),      QStringLiteral("Funk"),  QStringLiteral("Glass"),
                                         QStringLiteral("Hero"),      QStringLiteral("Morse"), QStringLiteral("Ping"),
                                         QStringLiteral("Pop"),       QStringLiteral("Purr"),  QStringLiteral("Sosumi"),
                                         QStringLiteral("Submarine"), QStringLiteral("Tink")};

// Plays one of the alert sounds once, without waiting for it to end.
class SoundPlayer
{
public:
    SoundPlayer() = default;
    virtual ~SoundPlayer() = default;
    SoundPlayer(const SoundPlayer &) = delete;
    SoundPlayer &operator=(const SoundPlayer &) = delete;

    // A name with no playable sound plays nothing and reports nothing.
    virtual void play(const QString &name) = 0;
};

} // namespace bellwick
