#pragma once

#include <QByteArray>

#include <ctime>

namespace bellwick::test {

// Pins the process's local time zone, so wall-clock expectations hold on any machine.
inline void pinTimeZone(const char *zone)
{
    qputenv("TZ", QByteArray(zone));
    tzset();
}

// For texts that follow the locale: en_US times in UTC. Call it before anything reads the locale.
inline bool pinEnglishInUtc()
{
    qputenv("LC_ALL", "en_US.UTF-8");
    qputenv("TZ", "UTC");
    return true;
}

} // namespace bellwick::test
