#include "userdefaults.h"

#include "platform/diagnostics.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <optional>

namespace bellwick {

namespace {

// Empty when the bytes hold settings (an empty file holds none), else what is wrong with them.
QString parseSettings(const QByteArray &bytes, QSettings::SettingsMap &map)
{
    if (bytes.trimmed().isEmpty()) {
        return {};
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        return QStringLiteral("%1 at byte %2").arg(error.errorString()).arg(error.offset);
    }
    if (!document.isObject()) {
        return QStringLiteral("not a JSON object");
    }
    map = document.object().toVariantMap();
    return {};
}

bool readJson(QIODevice &device, QSettings::SettingsMap &map)
{
    return parseSettings(device.readAll(), map).isEmpty();
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

struct ReadFailure {
    QString reason;
    // The file was read and holds no settings, so moving it aside loses nothing.
    bool unparsable = false;
};

std::optional<ReadFailure> readFailure(const QString &path)
{
    QFile file(path);
    if (!file.exists()) {
        return std::nullopt;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return ReadFailure{file.errorString()};
    }
    QSettings::SettingsMap map;
    const QString problem = parseSettings(file.readAll(), map);
    if (problem.isEmpty()) {
        return std::nullopt;
    }
    return ReadFailure{problem, true};
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
    const std::optional<ReadFailure> failure = readFailure(m_path);
    if (!failure) {
        open();
        return;
    }
    if (failure->unparsable) {
        const QString aside = asideName(m_path);
        if (QFile::rename(m_path, aside)) {
            diagnostic(
                QStringLiteral("Settings file %1 could not be read (%2); kept it as %3 and started with defaults")
                    .arg(m_path, failure->reason, aside));
            open();
            return;
        }
    }
    keepInMemory(failure->reason);
}

void UserDefaults::open()
{
    m_settings = std::make_unique<QSettings>(m_path, jsonFormat());
}

bool UserDefaults::fileStillReadable()
{
    if (!m_settings) {
        return false;
    }
    // QSettings would replace a file it can no longer parse with the values it holds.
    const std::optional<ReadFailure> failure = readFailure(m_path);
    if (!failure) {
        return true;
    }
    keepInMemory(failure->reason);
    return false;
}

void UserDefaults::keepInMemory(const QString &reason)
{
    diagnostic(QStringLiteral("Settings file %1 could not be read (%2); left it as it is, and changes last until "
                              "Bellwick quits")
                   .arg(m_path, reason));
    if (m_settings) {
        const QStringList keys = m_settings->allKeys();
        for (const QString &key : keys) {
            m_unsaved.insert(key, m_settings->value(key));
        }
        m_settings.reset();
    }
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    m_registered.insert(defaults);
}

template<typename Accepts> QVariant UserDefaults::typedValue(const QString &key, Accepts accepts) const
{
    if (const QVariant value = stored(key); value.isValid() && accepts(value)) {
        return value;
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

QVariant UserDefaults::stored(const QString &key) const
{
    return m_settings ? m_settings->value(key) : m_unsaved.value(key);
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    const QVariant current = stored(key);
    if (current.metaType() == value.metaType() && current == value) {
        return;
    }
    if (!fileStillReadable()) {
        m_unsaved.insert(key, value);
        return;
    }
    m_settings->setValue(key, value);
    save();
}

void UserDefaults::remove(const QString &key)
{
    if (!stored(key).isValid()) {
        return;
    }
    if (!fileStillReadable()) {
        m_unsaved.remove(key);
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
