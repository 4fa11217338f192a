#include "edszones.h"

#include <QRegularExpression>
#include <QTimeZone>

#include <cstdlib>
#include <utility>

namespace bellwick {

namespace {

// Outlook writes zones by their Windows display name, e.g. "(UTC-05:00) Eastern Time (US & Canada)".
struct DisplayName {
    int offsetSeconds;
    QString places;
};

std::optional<DisplayName> displayName(const QString &tzid)
{
    static const QRegularExpression pattern(QStringLiteral("^\\((?:UTC|GMT)(?:([+-])(\\d{1,2}):(\\d{2}))?\\)\\s*(.*)$"),
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(tzid.trimmed());
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const int magnitude = match.captured(2).toInt() * 3600 + match.captured(3).toInt() * 60;
    return DisplayName{match.captured(1) == u"-" ? -magnitude : magnitude, match.captured(4)};
}

QString withoutStandard(QString name)
{
    return name.remove(QStringLiteral(" Standard"), Qt::CaseInsensitive).trimmed();
}

// A zone of the display name's standard offset whose city the name lists, or whose Windows id reads like the name
// ("Eastern Time (US & Canada)" and "Eastern Standard Time").
QByteArray ianaIdOf(const DisplayName &name)
{
    const QList<QByteArray> candidates = QTimeZone::availableTimeZoneIds(name.offsetSeconds);
    for (const QString &place : name.places.split(u',', Qt::SkipEmptyParts)) {
        for (const QByteArray &candidate : candidates) {
            const QString city = QString::fromUtf8(candidate.mid(candidate.lastIndexOf('/') + 1)).replace(u'_', u' ');
            if (city.compare(place.trimmed(), Qt::CaseInsensitive) == 0) {
                return candidate;
            }
        }
    }
    static const QRegularExpression parenthesised(QStringLiteral("\\([^)]*\\)"));
    const QString described = QString(name.places).remove(parenthesised).trimmed();
    for (const QByteArray &candidate : candidates) {
        const QByteArray windowsId = QTimeZone::ianaIdToWindowsId(candidate);
        if (!windowsId.isEmpty()
            && withoutStandard(QString::fromUtf8(windowsId)).compare(described, Qt::CaseInsensitive) == 0) {
            return QTimeZone::windowsIdToDefaultIanaId(windowsId);
        }
    }
    return {};
}

GObjectPtr<ICalTimezone> fixedOffsetZone(const QString &tzid, int offsetSeconds)
{
    const int minutes = std::abs(offsetSeconds) / 60;
    const QByteArray offset = (offsetSeconds < 0 ? "-" : "+") + QByteArray::number(minutes / 60).rightJustified(2, '0')
                              + QByteArray::number(minutes % 60).rightJustified(2, '0');
    const QByteArray text = "BEGIN:VTIMEZONE\r\nTZID:" + tzid.toUtf8()
                            + "\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\nTZOFFSETFROM:" + offset
                            + "\r\nTZOFFSETTO:" + offset + "\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    const GObjectPtr<ICalComponent> component(i_cal_component_new_from_string(text.constData()));
    GObjectPtr<ICalTimezone> zone(i_cal_timezone_new());
    if (!component || !i_cal_timezone_set_component(zone.get(), component.get())) {
        return nullptr;
    }
    return zone;
}

} // namespace

ICalTimezone *EdsZones::resolve(const gchar *tzid, gpointer lookup, GCancellable *, GError **)
{
    const auto *context = static_cast<const Lookup *>(lookup);
    return tzid ? context->zones->zone(context->client, QString::fromUtf8(tzid)) : nullptr;
}

ICalTimezone *EdsZones::knownToClient(ECalClient *client, const QString &tzid)
{
    return e_timezone_cache_get_timezone(reinterpret_cast<ETimezoneCache *>(client), tzid.toUtf8().constData());
}

ICalTimezone *EdsZones::zone(ECalClient *client, const QString &tzid)
{
    if (ICalTimezone *known = knownToClient(client, tzid)) {
        return known;
    }
    auto found = m_mapped.find(tzid);
    if (found == m_mapped.end()) {
        found = m_mapped.emplace(tzid, mappedZone(tzid)).first;
    }
    if (!found->second && !m_unknown.contains(tzid)) {
        m_unknown.insert(tzid);
        m_newlyUnknown.append(tzid);
    }
    return found->second;
}

ICalTimezone *EdsZones::mappedZone(const QString &tzid)
{
    QByteArray ianaId = QTimeZone::windowsIdToDefaultIanaId(tzid.trimmed().toUtf8());
    const std::optional<DisplayName> name = ianaId.isEmpty() ? displayName(tzid) : std::nullopt;
    if (name) {
        ianaId = ianaIdOf(*name);
    }
    if (ICalTimezone *builtin = ianaId.isEmpty() ? nullptr : i_cal_timezone_get_builtin_timezone(ianaId.constData())) {
        return builtin;
    }
    if (!name) {
        return nullptr;
    }
    GObjectPtr<ICalTimezone> &fixed = m_fixedOffsetZones[tzid];
    fixed = fixedOffsetZone(tzid, name->offsetSeconds);
    return fixed.get();
}

QStringList EdsZones::takeNewlyUnknown()
{
    return std::exchange(m_newlyUnknown, {});
}

} // namespace bellwick
