#pragma once

#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <optional>

namespace bellwick {

// Persistent key-value store in a JSON file, so stored values keep their types; registered defaults lie beneath
// the stored values and never reach the disk.
class UserDefaults
{
public:
    // $XDG_CONFIG_HOME/bellwick/settings.json
    [[nodiscard]] static QString standardPath();

    // A file that is not JSON is kept aside next to itself and the store starts empty. One that cannot be read at
    // all (a folder in its place, no permission) is left as it is, and so is one that stops being readable later:
    // the store then keeps every value in memory only, so the user's file is never overwritten.
    explicit UserDefaults(QString path = standardPath());

    void registerDefaults(const QVariantMap &defaults);

    // Each typed read gives the stored value when it is of the right kind, else the registered one when that is,
    // else zero, false or nothing.
    [[nodiscard]] qint64 integer(const QString &key) const;
    [[nodiscard]] bool boolean(const QString &key) const;
    [[nodiscard]] double real(const QString &key) const;
    [[nodiscard]] std::optional<QString> string(const QString &key) const;
    [[nodiscard]] std::optional<QVariantList> array(const QString &key) const;
    // Nothing unless the value is a list of texts only.
    [[nodiscard]] std::optional<QStringList> stringArray(const QString &key) const;

    // Writes go to disk at once and atomically.
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);

private:
    template<typename Accepts> [[nodiscard]] QVariant typedValue(const QString &key, Accepts accepts) const;
    [[nodiscard]] QVariant stored(const QString &key) const;
    void open();
    // False, after saying why once, when the file on disk can no longer be read.
    [[nodiscard]] bool fileStillReadable();
    void keepInMemory(const QString &reason);
    void save();

    QString m_path;
    // Null while the file cannot be read; the values then live in m_unsaved.
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_unsaved;
    QVariantMap m_registered;
    bool m_saveFailureReported = false;
};

} // namespace bellwick
