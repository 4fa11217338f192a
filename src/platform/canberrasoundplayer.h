#pragma once

#include "soundplayer.h"

#include <QThreadPool>

namespace bellwick {

// Plays the alert sounds from the freedesktop sound theme through libcanberra, on a thread of its own.
class CanberraSoundPlayer : public SoundPlayer
{
public:
    CanberraSoundPlayer();
    ~CanberraSoundPlayer() override;

    void play(const QString &name) override;

    // The sound theme's event id that stands for an alert sound name; empty for a name that is not one.
    [[nodiscard]] static QByteArray eventId(const QString &name);

private:
    // Opening the sound server and playing can block; the thread ends itself when idle.
    QThreadPool m_worker;
};

} // namespace bellwick
