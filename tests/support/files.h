#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace bellwick::test {

// Writes a file of the session, making its folder first.
inline bool writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
           && file.write(contents) == contents.size();
}

// Empty when the file is not there.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace bellwick::test
