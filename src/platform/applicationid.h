#pragma once

#include <QIcon>
#include <QString>

namespace bellwick {

// The one name the desktop knows Bellwick by: desktop entry, icons, AppStream id and session-bus name.
inline const QString applicationId = QStringLiteral("com.bellwick.Bellwick");

// The installed theme icon, else the copy built in, so that a build run in place shows the same icon.
[[nodiscard]] inline QIcon applicationIcon(const QString &variant = {})
{
    const QString name = applicationId + variant;
    return QIcon::fromTheme(name, QIcon(QStringLiteral(":/Bellwick/icons/") + name + QStringLiteral(".svg")));
}

} // namespace bellwick
