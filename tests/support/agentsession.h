#pragma once

#include "files.h"
#include "xtools.h"

#include <QDateTime>
#include <QTest>

#include <chrono>
#include <functional>

namespace bellwick::test {

inline const QString alertWindowName = QStringLiteral("^Upcoming Meeting$");

// The settings the agent reads when it starts.
inline bool writeSettings(const QByteArray &json)
{
    return writeFile(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/bellwick/settings.json"), json);
}

// A calendar of the system calendar store holding `events` (VEVENT blocks); written before anything in the session
// has looked at the store.
inline bool seedCalendarSource(const QString &uid, const QByteArray &title, const QByteArray &events = {})
{
    return writeFile(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/evolution/sources/" + uid + u".source",
                     "[Data Source]\nDisplayName=" + title
                         + "\nEnabled=true\nParent=local-stub\n\n[Calendar]\n"
                           "BackendName=local\nColor=#3584e4\nSelected=true\n")
           && writeFile(qEnvironmentVariable("XDG_DATA_HOME") + u"/evolution/calendar/" + uid + u"/calendar.ics",
                        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Bellwick//Tests//EN\r\n" + events
                            + "END:VCALENDAR\r\n");
}

// A system calendar holding a half-hour meeting at each start, their notes carrying `link`.
inline bool seedCalendar(const QList<QDateTime> &starts, const QString &link)
{
    const auto ical = [](const QDateTime &time) {
        return time.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
    };
    QByteArray events;
    for (qsizetype i = 0; i < starts.size(); ++i) {
        events += "BEGIN:VEVENT\r\nUID:meeting-" + QByteArray::number(i) + "\r\nDTSTAMP:20260101T000000Z\r\nDTSTART:"
                  + ical(starts[i]) + "\r\nDTEND:" + ical(starts[i].addSecs(1800)) + "\r\nSUMMARY:Design review "
                  + QByteArray::number(i + 1) + "\r\nDESCRIPTION:Join Zoom Meeting\\n" + link.toLatin1()
                  + "\r\nEND:VEVENT\r\n";
    }
    return seedCalendarSource(QStringLiteral("bw-agent"), "Work", events);
}

// The icon's window inside the tray: Bellwick's one small window on screen.
inline QRect trayIcon()
{
    const QStringList windows =
        runTool(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                            QStringLiteral("--class"), QStringLiteral("^bellwick$")})
            .split(u'\n', Qt::SkipEmptyParts);
    QList<QRect> icons;
    for (const QString &window : windows) {
        const QRect geometry = windowGeometry(window);
        if (geometry.width() <= 64 && geometry.height() <= 64) {
            icons.append(geometry);
        }
    }
    return icons.size() == 1 ? icons.constFirst() : QRect();
}

inline bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout)
{
    return QTest::qWaitFor(condition, static_cast<int>(timeout.count()));
}

} // namespace bellwick::test
