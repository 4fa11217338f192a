#pragma once

#include <QHashFunctions>

namespace bellwick {

// A calendar's colour as device RGB components, each in 0...1.
struct CalendarColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    friend bool operator==(const CalendarColor &, const CalendarColor &) = default;
};

// The colour of a calendar whose own colour cannot be read.
inline constexpr CalendarColor systemBlue{0.0, 122 / 255.0, 1.0, 1.0};

inline size_t qHash(const CalendarColor &color, size_t seed = 0) noexcept
{
    return qHashMulti(seed, color.red, color.green, color.blue, color.alpha);
}

} // namespace bellwick
