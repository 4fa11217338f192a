import QtQuick
import QtQuick.Layouts

// One event of the panel: calendar dot, start time, title, a camera when it has a link, and how soon it starts.
RowLayout {
    id: row

    required property string title
    required property string timeText
    required property string relativeTimeText
    required property color timeColor
    required property color dotColor
    required property bool hasMeetingLink

    property real pointSize: 10
    property string linkIcon
    property color textColor

    spacing: 8

    Rectangle {
        Layout.leftMargin: 14
        implicitWidth: 6
        implicitHeight: 6
        radius: 3
        color: row.dotColor
    }

    Text {
        // Wide enough for "12:00 AM" in the caption size, so titles line up.
        Layout.preferredWidth: Math.max(52, Math.round(row.pointSize * 6))
        Layout.topMargin: 8
        Layout.bottomMargin: 8
        text: row.timeText
        font.pointSize: row.pointSize * 0.9
        color: row.timeColor
    }

    Text {
        Layout.fillWidth: true
        text: row.title
        textFormat: Text.PlainText
        elide: Text.ElideRight
        maximumLineCount: 1
        font.pointSize: row.pointSize
        color: row.textColor
    }

    Image {
        visible: row.hasMeetingLink
        sourceSize: Qt.size(Math.round(row.pointSize * 1.2), Math.round(row.pointSize * 1.2))
        source: visible ? row.linkIcon : ""
    }

    Text {
        Layout.rightMargin: 14
        text: row.relativeTimeText
        font.pointSize: row.pointSize * 0.8
        color: row.timeColor
    }
}
