#pragma once

#include <QDBusConnection>
#include <QFileSystemWatcher>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

namespace bellwick {

// Notices the system's wall time jumping, so the real Clock can announce jumped().
class WallClockWatcher : public QObject
{
    Q_OBJECT

public:
    // Starts watching at once; what cannot be watched is reported as a diagnostic line and skipped.
    explicit WallClockWatcher(QDBusConnection systemBus = QDBusConnection::systemBus(),
                              QString localtimePath = QStringLiteral("/etc/localtime"), QObject *parent = nullptr);
    ~WallClockWatcher() override;

Q_SIGNALS:
    // The machine resumed from suspend, the clock was set, or the time zone changed.
    void wallTimeChanged();

private Q_SLOTS:
    // QtDBus connects bus signals only to members named by string.
    void onPrepareForSleep(bool sleeping);

private:
    // Tells a new zone from unrelated activity in the folder; the stat follows the link.
    struct FileIdentity {
        QString linkTarget;
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modifiedNs = 0;

        bool operator==(const FileIdentity &) const = default;
    };

    [[nodiscard]] static FileIdentity identify(const QString &path);

    void watchResume(QDBusConnection &bus);
    void watchClockSet();
    [[nodiscard]] bool armClockTimer();
    void onClockTimerReadable();
    void closeClockTimer();
    void watchLocaltime();
    void onLocaltimeTouched();

    QString m_localtimePath;
    FileIdentity m_localtime;
    QFileSystemWatcher m_localtimeWatcher;
    int m_clockTimerFd = -1;
    QSocketNotifier m_clockTimerNotifier;
};

} // namespace bellwick
