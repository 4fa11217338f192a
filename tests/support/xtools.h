#pragma once

#include <QProcess>
#include <QRect>
#include <QStringList>

namespace bellwick::test {

// Runs a tool of the test session and hands back what it printed, trimmed.
inline QString runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10'000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// The mapped windows whose name matches the pattern, as X ids.
inline QStringList visibleWindows(const QString &namePattern)
{
    return runTool(QStringLiteral("xdotool"),
                   {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"), namePattern})
        .split(u'\n', Qt::SkipEmptyParts);
}

// Where a window is on the screen.
inline QRect windowGeometry(const QString &window)
{
    QRect geometry;
    const QString shell =
        runTool(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window});
    for (const QString &line : shell.split(u'\n')) {
        const QString key = line.section(u'=', 0, 0);
        const int value = line.section(u'=', 1).toInt();
        if (key == u"X") {
            geometry.moveLeft(value);
        } else if (key == u"Y") {
            geometry.moveTop(value);
        } else if (key == u"WIDTH") {
            geometry.setWidth(value);
        } else if (key == u"HEIGHT") {
            geometry.setHeight(value);
        }
    }
    return geometry;
}

inline void click(const QPoint &point)
{
    runTool(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(point.x()),
                                        QString::number(point.y()), QStringLiteral("click"), QStringLiteral("1")});
}

inline void pressKeys(const QStringList &keys)
{
    runTool(QStringLiteral("xdotool"), QStringList{QStringLiteral("key")} + keys);
}

} // namespace bellwick::test
