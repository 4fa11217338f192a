#include "preferencetypes.h"

#include <QCoreApplication>
#include <QMetaEnum>

namespace bellwick {

namespace {

template<typename Enum, std::size_t N> std::optional<Enum> fromRawValue(const std::array<Enum, N> &all, QStringView raw)
{
    for (const Enum value : all) {
        if (raw == rawValue(value)) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace

QString rawValue(SnoozeStyle style)
{
    return style == SnoozeStyle::absolute ? QStringLiteral("Remind me at...") : QStringLiteral("Remind me in...");
}

std::optional<SnoozeStyle> snoozeStyleFromRawValue(QStringView raw)
{
    return fromRawValue(allSnoozeStyles, raw);
}

QString rawValue(AlertColorScheme scheme)
{
    return QString::fromLatin1(QMetaEnum::fromType<AlertColorScheme>().valueToKey(static_cast<int>(scheme)));
}

std::optional<AlertColorScheme> alertColorSchemeFromRawValue(QStringView raw)
{
    return fromRawValue(allAlertColorSchemes, raw);
}

QString displayName(AlertColorScheme scheme)
{
    switch (scheme) {
    case AlertColorScheme::purple:
        return QCoreApplication::translate("AlertColorScheme", "Purple (Default)");
    case AlertColorScheme::dark:
        return QCoreApplication::translate("AlertColorScheme", "Dark");
    case AlertColorScheme::blue:
        return QCoreApplication::translate("AlertColorScheme", "Blue");
    case AlertColorScheme::red:
        return QCoreApplication::translate("AlertColorScheme", "Red");
    case AlertColorScheme::green:
        return QCoreApplication::translate("AlertColorScheme", "Green");
    case AlertColorScheme::orange:
        break;
    }
    return QCoreApplication::translate("AlertColorScheme", "Orange");
}

std::pair<QColor, QColor> gradientColors(AlertColorScheme scheme)
{
    const auto rgb = [](double red, double green, double blue) { return QColor::fromRgbF(red, green, blue); };
    switch (scheme) {
    case AlertColorScheme::purple:
        return {rgb(0.10, 0.10, 0.20), rgb(0.15, 0.10, 0.25)};
    case AlertColorScheme::dark:
        return {rgb(0.05, 0.05, 0.08), rgb(0.10, 0.10, 0.12)};
    case AlertColorScheme::blue:
        return {rgb(0.05, 0.10, 0.20), rgb(0.10, 0.15, 0.30)};
    case AlertColorScheme::red:
        return {rgb(0.20, 0.05, 0.08), rgb(0.25, 0.08, 0.10)};
    case AlertColorScheme::green:
        return {rgb(0.05, 0.15, 0.10), rgb(0.08, 0.20, 0.12)};
    case AlertColorScheme::orange:
        break;
    }
    return {rgb(0.20, 0.10, 0.05), rgb(0.25, 0.12, 0.05)};
}

} // namespace bellwick
