import QtQuick

AlertButton {
    id: control

    textColor: Qt.rgba(1, 1, 1, 0.9)
    font.pixelSize: 22
    font.weight: Font.DemiBold
    leftPadding: 28
    rightPadding: 28
    topPadding: 18
    bottomPadding: 18

    background: Rectangle {
        radius: control.cornerRadius
        color: Qt.rgba(1, 1, 1, control.down ? 0.15 : 0.1)
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.2)
    }
}
