import QtQuick
import QtQuick.Layouts

// A command of the panel's footer: icon and label across the whole width, tinted under the pointer and while
// pressed.
Rectangle {
    id: control

    property string text
    property string shortcut
    property string iconSource
    property real pointSize: 10

    signal clicked

    implicitHeight: label.implicitHeight + 16
    color: Qt.rgba(palette.highlight.r, palette.highlight.g, palette.highlight.b,
                   area.pressed ? 0.2 : area.containsMouse ? 0.1 : 0)
    Accessible.role: Accessible.Button
    Accessible.name: text

    // Only names the keys, in the user's language ("Strg+Q"): the panel window takes them itself.
    Shortcut {
        id: keys

        sequence: control.shortcut
        enabled: false
    }

    SystemPalette {
        id: palette

        colorGroup: SystemPalette.Active
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        spacing: 8

        Image {
            sourceSize: Qt.size(16, 16)
            source: control.iconSource
        }

        Text {
            id: label

            Layout.fillWidth: true
            text: control.text
            font.pointSize: control.pointSize
            color: palette.windowText
        }

        Text {
            text: keys.nativeText
            font.pointSize: control.pointSize * 0.9
            color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.5)
        }
    }

    MouseArea {
        id: area

        anchors.fill: parent
        hoverEnabled: true
        onClicked: control.clicked()
    }
}
