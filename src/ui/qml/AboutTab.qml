import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// Name, version, tagline, web page and maker.
Item {
    id: tab

    required property QtObject presenter
    readonly property real basePointSize: Qt.application.font.pointSize > 0 ? Qt.application.font.pointSize : 10

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 20

        Item {
            Layout.fillHeight: true
        }

        Image {
            Layout.alignment: Qt.AlignHCenter
            sourceSize: Qt.size(64, 64)
            source: "image://icon/com.bellwick.Bellwick"
        }

        ColumnLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 4

            Label {
                Layout.alignment: Qt.AlignHCenter
                text: "Bellwick"
                font.bold: true
                font.pointSize: tab.basePointSize * 1.6
            }

            Label {
                Layout.alignment: Qt.AlignHCenter
                text: tab.presenter.versionText
                color: tab.presenter.secondaryColor
            }
        }

        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: qsTr("Never miss a meeting again.\nFullscreen alerts for your calendar events.")
            color: tab.presenter.secondaryColor
        }

        Button {
            Layout.alignment: Qt.AlignHCenter
            visible: tab.presenter.website.toString() !== ""
            flat: true
            text: qsTr("Visit Website")
            font.pointSize: tab.basePointSize * 0.85
            palette.buttonText: tab.presenter.linkColor
            onClicked: Qt.openUrlExternally(tab.presenter.website)
        }

        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: qsTr("Made by the Bellwick developers.\nBuilt on Qt and Evolution Data Server.")
            font.pointSize: tab.basePointSize * 0.75
            color: tab.presenter.secondaryColor
        }

        Item {
            Layout.fillHeight: true
        }

        Item {
            implicitHeight: 20
        }
    }
}
