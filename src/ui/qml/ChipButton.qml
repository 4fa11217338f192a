import QtQuick

// The small buttons of the snooze section.
AlertButton {
    id: control

    property real fillOpacity: 0.1

    textColor: Qt.rgba(1, 1, 1, 0.8)
    cornerRadius: 8
    font.pixelSize: 17
    font.weight: Font.DemiBold
    leftPadding: 16
    rightPadding: 16
    topPadding: 10
    bottomPadding: 10

    background: Rectangle {
        radius: control.cornerRadius
        color: Qt.rgba(1, 1, 1, control.fillOpacity + (control.down ? 0.08 : 0))
    }
}
