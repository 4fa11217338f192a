import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The tray panel: status and name, the next events, and the commands; every text and colour comes from the presenter.
Rectangle {
    id: root

    required property QtObject presenter

    readonly property real basePointSize: Qt.application.font.pointSize > 0 ? Qt.application.font.pointSize : 10
    readonly property color dividerColor: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b,
                                                  0.12)

    function icon(name, color) {
        return "image://icon/" + name + "?tint=" + encodeURIComponent(Qt.rgba(color.r, color.g, color.b, 1));
    }

    component Divider: Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: root.dividerColor
    }

    width: 280
    height: content.implicitHeight
    color: palette.window
    border.color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.25)
    border.width: 1

    SystemPalette {
        id: palette

        colorGroup: SystemPalette.Active
    }

    ColumnLayout {
        id: content

        width: parent.width
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 8
            Layout.topMargin: 6
            Layout.bottomMargin: 6
            spacing: 8

            Rectangle {
                objectName: "statusDot"
                implicitWidth: 8
                implicitHeight: 8
                radius: 4
                color: root.presenter.statusColor
            }

            Text {
                Layout.fillWidth: true
                text: "Bellwick"
                font.bold: true
                font.pointSize: root.basePointSize * 1.1
                color: palette.windowText
            }

            AbstractButton {
                id: refresh

                objectName: "refreshButton"
                implicitWidth: 28
                implicitHeight: 28
                Accessible.name: qsTr("Refresh events")
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: qsTr("Refresh events")
                onClicked: root.presenter.refresh()

                background: Rectangle {
                    radius: 4
                    color: Qt.rgba(palette.highlight.r, palette.highlight.g, palette.highlight.b,
                                   refresh.pressed ? 0.2 : refresh.hovered ? 0.1 : 0)
                }

                contentItem: Image {
                    fillMode: Image.Pad
                    sourceSize: Qt.size(16, 16)
                    source: root.icon("view-refresh", palette.windowText)
                }
            }
        }

        Divider {}

        RowLayout {
            objectName: "emptyRow"
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 14
            Layout.topMargin: 12
            Layout.bottomMargin: 12
            visible: !root.presenter.hasEvents
            spacing: 6

            Image {
                sourceSize: Qt.size(16, 16)
                source: root.icon("emblem-default", root.presenter.checkColor)
            }

            Text {
                text: qsTr("No upcoming events")
                font.pointSize: root.basePointSize
                color: root.presenter.secondaryColor
            }
        }

        Repeater {
            model: root.presenter.events

            CompactEventRow {
                Layout.fillWidth: true
                pointSize: root.basePointSize
                linkIcon: root.icon("camera-video", root.presenter.linkColor)
                textColor: palette.windowText
            }
        }

        Text {
            objectName: "moreLine"
            Layout.leftMargin: 12
            Layout.rightMargin: 12
            Layout.topMargin: 4
            Layout.bottomMargin: 4
            visible: text !== ""
            text: root.presenter.moreText
            font.pointSize: root.basePointSize * 0.8
            color: root.presenter.secondaryColor
        }

        Divider {}

        MenuButton {
            objectName: "settingsButton"
            Layout.fillWidth: true
            text: qsTr("Settings...")
            shortcut: "Ctrl+,"
            iconSource: root.icon("preferences-system", palette.windowText)
            pointSize: root.basePointSize
            onClicked: root.presenter.showSettings()
        }

        Divider {}

        MenuButton {
            objectName: "quitButton"
            Layout.fillWidth: true
            Layout.bottomMargin: 1
            text: qsTr("Quit")
            shortcut: "Ctrl+Q"
            iconSource: root.icon("system-shutdown", palette.windowText)
            pointSize: root.basePointSize
            onClicked: root.presenter.quit()
        }
    }
}
