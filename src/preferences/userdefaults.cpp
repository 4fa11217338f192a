#include "userdefaults.h"

#include "platform/diagnostics.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

namespace bellwick {

namespace {

bool readJson(QIODevice &device, QSettings::SettingsMap &map)
{
    const QByteArray bytes = device.readAll();
    if (bytes.trimmed().isEmpty()) {
        return true;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return false;
    }
    map = document.object().toVariantMap();
    return true;
}

bool writeJson(QIODevice &device, const QSettings::SettingsMap &map)
{
    const QByteArray bytes = QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Indented);
    return device.write(bytes) == bytes.size();
}

QSettings::Format jsonFormat()
{
    static const QSettings::Format format = QSettings::registerFormat(QStringLiteral("json"), readJson, writeJson);
    return format;
}

bool isInteger(const QVariant &value)
{
    const int type = value.metaType().id();
    return type == QMetaType::LongLong || type == QMetaType::Int || type == QMetaType::UInt;
}

// The first free name next to the file, so an earlier kept copy is never overwritten.
QString asideName(const QString &path)
{
    QString candidate = path + QStringLiteral(".corrupt");
    for (int n = 1; QFileInfo::exists(candidate); ++n) {
        candidate = path + QStringLiteral(".corrupt.") + QString::number(n);
    }
    return candidate;
}

} // namespace

QString UserDefaults::standardPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QStringLiteral("/bellwick/settings.json");
}

UserDefaults::UserDefaults(QString path) : m_path(std::move(path))
{
    open();
    if (m_settings->status() != QSettings::FormatError) {
        return;
    }
    m_settings.reset();
    const QString aside = asideName(m_path);
    if (QFile::rename(m_path, aside)) {
        diagnostic(QStringLiteral("Settings file %1 could not be read; kept it as %2 and started with defaults")
                       .arg(m_path, aside));
    } else {
        diagnostic(QStringLiteral("Settings file %1 could not be read; started with defaults").arg(m_path));
    }
    open();
}

void UserDefaults::open()
{
    m_settings = std::make_unique<QSettings>(m_path, jsonFormat());
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    m_registered.insert(defaults);
}

template<typename Accepts> QVariant UserDefaults::typedValue(const QString &key, Accepts accepts) const
{
    if (const QVariant stored = m_settings->value(key); stored.isValid() && accepts(stored)) {
        return stored;
    }
    if (const QVariant registered = m_registered.value(key); registered.isValid() && accepts(registered)) {
        return registered;
    }
    return {};
}

qint64 UserDefaults::integer(const QString &key) const
{
    return typedValue(key, isInteger).toLongLong();
}

bool UserDefaults::boolean(const QString &key) const
{
    return typedValue(key, [](const QVariant &value) { return value.metaType().id() == QMetaType::Bool; }).toBool();
}

double UserDefaults::real(const QString &key) const
{
    return typedValue(
               key,
               [](const QVariant &value) { return value.metaType().id() == QMetaType::Double || isInteger(value); })
        .toDouble();
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const QVariant value =
        typedValue(key, [](const QVariant &candidate) { return candidate.metaType().id() == QMetaType::QString; });
    return value.isValid() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<QVariantList> UserDefaults::array(const QString &key) const
{
    const QVariant value = typedValue(key, [](const QVariant &candidate) {
        const int type = candidate.metaType().id();
        return type == QMetaType::QVariantList || type == QMetaType::QStringList;
    });
    return value.isValid() ? std::optional(value.toList()) : std::nullopt;
}

std::optional<QStringList> UserDefaults::stringArray(const QString &key) const
{
    const std::optional<QVariantList> list = array(key);
    if (!list) {
        return std::nullopt;
    }
    QStringList strings;
    for (const QVariant &element : *list) {
        if (element.metaType().id() != QMetaType::QString) {
            return std::nullopt;
        }
        strings.append(element.toString());
    }
    return strings;
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    const QVariant stored = m_settings->value(key);
    if (stored.metaType() == value.metaType() && stored == value) {
        return;
    }
    m_settings->setValue(key, value);
    save();
}

void UserDefaults::remove(const QString &key)
{
    if (!m_settings->contains(key)) {
        return;
    }
    m_settings->remove(key);
    save();
}

void UserDefaults::save()
{
    m_settings->sync();
    if (m_settings->status() == QSettings::NoError) {
        m_saveFailureReported = false;
        return;
    }
    // One line per run of failures: the values stay in memory and the next successful write saves them all.
    if (!m_saveFailureReported) {
        m_saveFailureReported = true;
        diagnostic(QStringLiteral("Failed to save settings to %1; changes are kept until Bellwick quits").arg(m_path));
    }
}

} // namespace bellwick
