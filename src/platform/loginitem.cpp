#include "loginitem.h"

#include "applicationid.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace bellwick {

namespace {

// Quoting of an Exec argument: reserved characters force double quotes, inside which ", `, $ and \ are escaped.
QString quotedExecArgument(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (!std::any_of(argument.begin(), argument.end(), [](QChar c) { return reserved.contains(c); })) {
        return argument;
    }
    QString quoted = QStringLiteral("\"");
    for (const QChar c : argument) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') {
            quoted += u'\\';
        }
        quoted += c;
    }
    return quoted + u'"';
}

QByteArray desktopEntry(const QString &program)
{
    // "%" introduces field codes in Exec and must be doubled; the other escapes are the desktop entry's own.
    QString exec = quotedExecArgument(program);
    exec.replace(u'\\', QStringLiteral("\\\\")).replace(u'%', QStringLiteral("%%"));
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Bellwick\n"
                          "Comment=Full-screen alerts before your meetings start\n"
                          "Exec=%1\n"
                          "Icon=%2\n"
                          "Terminal=false\n"
                          "NoDisplay=true\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(exec, applicationId)
        .toUtf8();
}

} // namespace

QString AutostartLoginItem::defaultProgram()
{
    const QString installed = QStandardPaths::findExecutable(QStringLiteral("bellwick"));
    return installed.isEmpty() ? QCoreApplication::applicationFilePath() : installed;
}

QString AutostartLoginItem::entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QStringLiteral("/autostart/%1.desktop").arg(applicationId);
}

AutostartLoginItem::AutostartLoginItem(QString program) : m_program(std::move(program)) { }

void AutostartLoginItem::setEnabled(bool enabled)
{
    const QString path = entryPath();
    if (!enabled) {
        QFile file(path);
        if (file.exists() && !file.remove()) {
            throw LoginItemError(QStringLiteral("Could not remove %1: %2").arg(path, file.errorString()));
        }
        return;
    }
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        throw LoginItemError(QStringLiteral("Could not create the folder %1").arg(folder));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(desktopEntry(m_program)) < 0 || !file.commit()) {
        throw LoginItemError(QStringLiteral("Could not write %1: %2").arg(path, file.errorString()));
    }
}

} // namespace bellwick
