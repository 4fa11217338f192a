import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A titled group of rows on a rounded background.
ColumnLayout {
    id: section

    property string title
    default property alias rows: group.data

    Layout.fillWidth: true
    spacing: 6

    SystemPalette {
        id: systemPalette

        colorGroup: SystemPalette.Active
    }

    Label {
        visible: section.title !== ""
        text: section.title
        font.bold: true
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: group.implicitHeight + 20
        radius: 8
        color: Qt.rgba(systemPalette.windowText.r, systemPalette.windowText.g, systemPalette.windowText.b, 0.04)
        border.color: Qt.rgba(systemPalette.windowText.r, systemPalette.windowText.g, systemPalette.windowText.b, 0.14)

        ColumnLayout {
            id: group

            x: 12
            y: 10
            width: parent.width - 24
            spacing: 8
        }
    }
}
