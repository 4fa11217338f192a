#pragma once

#include <QColor>
#include <QObject>
#include <QString>

#include <array>
#include <optional>
#include <utility>

namespace bellwick {

Q_NAMESPACE

// How the alert offers its snooze choices.
enum class SnoozeStyle { relative, absolute };
Q_ENUM_NS(SnoozeStyle)

inline constexpr std::array allSnoozeStyles{SnoozeStyle::relative, SnoozeStyle::absolute};

// The alert's background colours.
enum class AlertColorScheme { purple, dark, blue, red, green, orange };
Q_ENUM_NS(AlertColorScheme)

inline constexpr std::array allAlertColorSchemes{AlertColorScheme::purple, AlertColorScheme::dark,
                                                 AlertColorScheme::blue,   AlertColorScheme::red,
                                                 AlertColorScheme::green,  AlertColorScheme::orange};

// The stored text, which is also the label the settings show.
[[nodiscard]] QString rawValue(SnoozeStyle style);
[[nodiscard]] std::optional<SnoozeStyle> snoozeStyleFromRawValue(QStringView raw);

[[nodiscard]] QString rawValue(AlertColorScheme scheme);
[[nodiscard]] std::optional<AlertColorScheme> alertColorSchemeFromRawValue(QStringView raw);
[[nodiscard]] QString displayName(AlertColorScheme scheme);
// The colours at the start and at the end of the alert's gradient.
[[nodiscard]] std::pair<QColor, QColor> gradientColors(AlertColorScheme scheme);

} // namespace bellwick
