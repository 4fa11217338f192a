import QtQuick

AlertButton {
    id: control

    readonly property color blue: "#0a84ff"

    font.pixelSize: 22
    font.weight: Font.DemiBold
    leftPadding: 28
    rightPadding: 28
    topPadding: 18
    bottomPadding: 18

    background: Item {
        // Stacked, widening layers read as one blurred shadow.
        Repeater {
            model: 4

            Rectangle {
                required property int index

                anchors.fill: parent
                anchors.margins: -index * 2
                anchors.topMargin: 5 - index * 2
                anchors.bottomMargin: -5 - index * 2
                radius: control.cornerRadius + index * 2
                color: Qt.rgba(control.blue.r, control.blue.g, control.blue.b, 0.3 / (index + 2))
            }
        }

        Rectangle {
            anchors.fill: parent
            radius: control.cornerRadius
            gradient: Gradient {
                GradientStop {
                    position: 0
                    color: Qt.rgba(control.blue.r, control.blue.g, control.blue.b, control.down ? 0.8 : 1)
                }
                GradientStop {
                    position: 1
                    color: Qt.rgba(control.blue.r, control.blue.g, control.blue.b, control.down ? 0.6 : 0.8)
                }
            }
        }
    }
}
