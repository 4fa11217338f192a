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

} // namespace bellwick::test
