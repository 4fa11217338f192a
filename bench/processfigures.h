#pragma once

// What a process of the bench's session costs the machine, read from /proc.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <unistd.h>

namespace bellwick::bench {

inline QByteArray readProc(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The processes of this bench's isolated session whose command name is `name`, as /proc shows it (at most 15
// characters).
inline QList<qint64> sessionProcesses(const QByteArray &name)
{
    const QByteArray marker = "BELLWICK_SESSION=" + qgetenv("BELLWICK_SESSION");
    QList<qint64> found;
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs);
    for (const QString &pid : pids) {
        if (readProc(u"/proc/" + pid + u"/comm").trimmed() == name
            && readProc(u"/proc/" + pid + u"/environ").split('\0').contains(marker)) {
            found.append(pid.toLongLong());
        }
    }
    return found;
}

// User and system CPU time of all the processes' threads so far.
inline double cpuSeconds(const QList<qint64> &pids)
{
    double seconds = 0;
    for (const qint64 pid : pids) {
        const QByteArray stat = readProc(u"/proc/" + QString::number(pid) + u"/stat");
        // The fields after the command name, which may hold spaces, are counted from its closing parenthesis.
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 12) {
            seconds += double(fields.at(11).toLongLong() + fields.at(12).toLongLong()) / double(sysconf(_SC_CLK_TCK));
        }
    }
    return seconds;
}

inline double residentMegabytes(qint64 pid)
{
    for (const QByteArray &line : readProc(u"/proc/" + QString::number(pid) + u"/status").split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
        }
    }
    return -1;
}

} // namespace bellwick::bench
