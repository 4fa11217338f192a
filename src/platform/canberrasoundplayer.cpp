#include "canberrasoundplayer.h"

#include <QScopeGuard>
#include <QSemaphore>

#include <alsa/asoundlib.h>
#include <array>
#include <canberra.h>
#include <utility>

namespace bellwick {

namespace {

// Each name gets a sound of a similar character that sound-theme-freedesktop ships, and no two share one.
constexpr std::array<std::pair<const char *, const char *>, 14> themeSounds{{
    {"Basso", "dialog-error"},
    {"Blow", "service-login"},
    {"Bottle", "message-new-instant"},
    {"Frog", "phone-outgoing-busy"},
    {"Funk", "suspend-error"},
    {"Glass", "bell"},
    {"Hero", "complete"},
    {"Morse", "phone-outgoing-calling"},
    {"Ping", "message"},
    {"Pop", "device-added"},
    {"Purr", "power-plug"},
    {"Sosumi", "window-attention"},
    {"Submarine", "alarm-clock-elapsed"},
    {"Tink", "audio-volume-change"},
}};

// Longer than any of the theme's sounds; only a server that never reports the end waits this long.
constexpr int longestSoundMs = 15'000;

// ALSA writes to standard error when there is no sound card; for Bellwick that only means silence.
void ignoreAlsaMessage(const char *, int, const char *, int, const char *, ...) { }

// Holds the context until the sound has ended, so no connection to the sound server stays open between alerts.
void playToEnd(const QByteArray &eventId)
{
    QSemaphore finished;
    ca_context *context = nullptr;
    if (ca_context_create(&context) != CA_SUCCESS) {
        return;
    }
    const auto destroyContext = qScopeGuard([context] { ca_context_destroy(context); });
    ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Bellwick", CA_PROP_APPLICATION_ID,
                            "com.bellwick.Bellwick", nullptr);
    ca_proplist *properties = nullptr;
    if (ca_proplist_create(&properties) != CA_SUCCESS) {
        return;
    }
    const auto destroyProperties = qScopeGuard([properties] { ca_proplist_destroy(properties); });
    ca_proplist_sets(properties, CA_PROP_EVENT_ID, eventId.constData());
    ca_proplist_sets(properties, CA_PROP_EVENT_DESCRIPTION, "Meeting alert");
    const ca_finish_callback_t ended = [](ca_context *, uint32_t, int, void *semaphore) {
        static_cast<QSemaphore *>(semaphore)->release();
    };
    if (ca_context_play_full(context, 0, properties, ended, &finished) == CA_SUCCESS) {
        (void)finished.tryAcquire(1, longestSoundMs);
    }
}

} // namespace

CanberraSoundPlayer::CanberraSoundPlayer()
{
    m_worker.setMaxThreadCount(1);
    snd_lib_error_set_handler(ignoreAlsaMessage);
}

CanberraSoundPlayer::~CanberraSoundPlayer()
{
    m_worker.clear();
}

void CanberraSoundPlayer::play(const QString &name)
{
    const QByteArray id = eventId(name);
    if (!id.isEmpty()) {
        m_worker.start([id] { playToEnd(id); });
    }
}

QByteArray CanberraSoundPlayer::eventId(const QString &name)
{
    for (const auto &[soundName, id] : themeSounds) {
        if (name == QLatin1String(soundName)) {
            return id;
        }
    }
    return {};
}

} // namespace bellwick
