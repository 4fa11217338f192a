import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// The full-screen alert; every text and state comes from the presenter.
Item {
    id: root

    required property QtObject presenter

    readonly property color serviceBlue: "#5eb0ff"

    component DetailRow: Row {
        id: row

        property string iconSource
        property alias text: label.text

        Layout.alignment: Qt.AlignHCenter
        spacing: 12

        Image {
            anchors.verticalCenter: parent.verticalCenter
            width: 24
            height: 24
            sourceSize: Qt.size(width, height)
            source: row.iconSource
            opacity: 0.6
        }

        Text {
            id: label

            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, 720)
            elide: Text.ElideRight
            textFormat: Text.PlainText
            font.pixelSize: 20
            color: Qt.rgba(1, 1, 1, 0.8)
        }
    }

    Item {
        anchors.fill: parent
        clip: true
        opacity: root.presenter.backgroundOpacity

        // Qt Quick gradients run along one axis: a vertical one, turned onto the diagonal and just long
        // enough to meet both corners, runs from the top-left to the bottom-right corner.
        Rectangle {
            readonly property real diagonal: Math.hypot(root.width, root.height)

            anchors.centerIn: parent
            width: diagonal > 0 ? 2 * root.width * root.height / diagonal + 4 : 0
            height: diagonal
            rotation: -Math.atan2(root.width, root.height) * 180 / Math.PI
            antialiasing: false
            gradient: Gradient {
                GradientStop {
                    position: 0
                    color: root.presenter.gradientStart
                }
                GradientStop {
                    position: 1
                    color: root.presenter.gradientEnd
                }
            }
        }
    }

    Rectangle {
        anchors.fill: parent
        color: Qt.rgba(1, 1, 1, 0.02)
    }

    Text {
        objectName: "clock"
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: 32
        text: root.presenter.currentTimeText
        font.pixelSize: 24
        font.weight: Font.Medium
        color: Qt.rgba(1, 1, 1, 0.5)
    }

    Item {
        id: stage

        // Screens too short for the column get it scaled down rather than overlapping.
        readonly property real fit: Math.min(1, height / column.implicitHeight)
        // Laptop-height screens get a smaller bell and tighter gaps, so the meeting itself keeps its size.
        readonly property bool compact: height < 900

        anchors.fill: parent
        anchors.margins: 60

        ColumnLayout {
            id: column

            anchors.centerIn: parent
            width: stage.width / stage.fit
            height: stage.height / stage.fit
            scale: stage.fit
            spacing: 0

            Item {
                Layout.fillHeight: true
            }

            Item {
                id: bell

                readonly property bool compact: stage.compact

                Layout.alignment: Qt.AlignHCenter
                Layout.bottomMargin: compact ? 4 : 40
                implicitWidth: compact ? 80 : 160
                implicitHeight: implicitWidth

                Image {
                    anchors.fill: parent
                    sourceSize: Qt.size(width, height)
                    source: "images/glow.svg"
                }

                // Rendered at its largest pulse so it never scales up past its pixels.
                Image {
                    id: bellImage

                    anchors.centerIn: parent
                    height: Math.round(bell.implicitHeight * (bell.compact ? 0.5 : 0.4))
                    width: Math.round(height * 56 / 60)
                    sourceSize: Qt.size(width, height)
                    source: "images/bell.svg"
                    scale: 0.94
                    smooth: true
                }

                // A few pulses as the alert appears, then one now and then: every frame of a pulse is drawn, so
                // an alert left open would otherwise keep a core busy for its whole life.
                ParallelAnimation {
                    id: pulse

                    running: true
                    loops: 3

                    SequentialAnimation {
                        NumberAnimation {
                            target: bellImage
                            property: "scale"
                            to: 1
                            duration: 900
                            easing.type: Easing.InOutSine
                        }
                        NumberAnimation {
                            target: bellImage
                            property: "scale"
                            to: 0.94
                            duration: 900
                            easing.type: Easing.InOutSine
                        }
                    }

                    SequentialAnimation {
                        NumberAnimation {
                            target: bellImage
                            property: "opacity"
                            to: 0.85
                            duration: 900
                            easing.type: Easing.InOutSine
                        }
                        NumberAnimation {
                            target: bellImage
                            property: "opacity"
                            to: 1
                            duration: 900
                            easing.type: Easing.InOutSine
                        }
                    }
                }

                Timer {
                    interval: 20000
                    repeat: true
                    running: true
                    onTriggered: {
                        pulse.loops = 1;
                        pulse.restart();
                    }
                }
            }

            ColumnLayout {
                id: titleBlock

                Layout.alignment: Qt.AlignHCenter
                spacing: 12

                Text {
                    Layout.alignment: Qt.AlignHCenter
                    text: qsTr("Upcoming Meeting")
                    font.pixelSize: 22
                    font.weight: Font.Medium
                    color: Qt.rgba(1, 1, 1, 0.7)
                }

                Text {
                    readonly property real measure: Math.min(960, stage.width)

                    objectName: "title"
                    Layout.alignment: Qt.AlignHCenter
                    // Lines of even length rather than a word left alone on the last.
                    Layout.preferredWidth: Math.min(measure, implicitWidth / Math.ceil(implicitWidth / measure) + 80)
                    text: root.presenter.title
                    textFormat: Text.PlainText
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                    maximumLineCount: 3
                    elide: Text.ElideRight
                    font.pixelSize: 42
                    font.bold: true
                    color: "white"
                }

                Text {
                    objectName: "startTime"
                    Layout.alignment: Qt.AlignHCenter
                    text: root.presenter.startTimeText
                    font.pixelSize: 22
                    font.weight: Font.Medium
                    color: Qt.rgba(1, 1, 1, 0.8)
                }
            }

            ColumnLayout {
                id: countdownBlock

                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: stage.compact ? 24 + 12 : 40 + 20
                Layout.bottomMargin: stage.compact ? 12 : 20
                spacing: 8

                Text {
                    objectName: "countdownLabel"
                    Layout.alignment: Qt.AlignHCenter
                    text: root.presenter.countdownLabel
                    font.pixelSize: 20
                    color: Qt.rgba(1, 1, 1, 0.6)
                }

                Countdown {
                    objectName: "countdown"
                    Layout.alignment: Qt.AlignHCenter
                    text: root.presenter.countdownText
                    started: root.presenter.hasStarted
                    font.pixelSize: 72
                    font.bold: true
                }
            }

            Item {
                Layout.fillHeight: true
            }

            ColumnLayout {
                id: details

                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: stage.compact ? 24 : 40
                spacing: 14

                DetailRow {
                    objectName: "calendarRow"
                    // Tinted, so a colourful theme icon matches the line icons beside it.
                    iconSource: "image://icon/x-office-calendar?tint=" + encodeURIComponent("#ffffff")
                    text: root.presenter.calendarName
                }

                DetailRow {
                    objectName: "locationRow"
                    visible: root.presenter.location !== ""
                    iconSource: "image://icon/mark-location?tint=" + encodeURIComponent("#ffffff")
                    text: root.presenter.location
                }

                DetailRow {
                    objectName: "serviceRow"
                    visible: root.presenter.serviceName !== ""
                    iconSource: visible ? "image://icon/" + root.presenter.serviceIcon + "?tint="
                                          + encodeURIComponent(root.serviceBlue)
                                        : ""
                    text: root.presenter.serviceName
                }
            }

            // Long notes scroll inside their box, so they never push the buttons off the screen.
            Rectangle {
                readonly property real padding: 14
                readonly property int shownLines: stage.compact ? 4 : 6

                visible: root.presenter.notes !== ""
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: stage.compact ? 20 : 32
                Layout.preferredWidth: Math.min(600, stage.width)
                Layout.preferredHeight: Math.min(notesText.implicitHeight,
                                                 shownLines * notesMetrics.lineSpacing * notesText.lineHeight)
                                        + 2 * padding
                radius: 12
                color: Qt.rgba(1, 1, 1, 0.06)
                border.width: 1
                border.color: Qt.rgba(1, 1, 1, 0.1)

                FontMetrics {
                    id: notesMetrics
                    font: notesText.font
                }

                Flickable {
                    id: notesView

                    objectName: "notes"
                    anchors.fill: parent
                    anchors.margins: parent.padding
                    contentHeight: notesText.implicitHeight
                    clip: true
                    boundsBehavior: Flickable.StopAtBounds

                    T.ScrollBar.vertical: T.ScrollBar {
                        parent: notesView.parent
                        width: 4
                        minimumSize: 0.2
                        anchors.top: notesView.top
                        anchors.bottom: notesView.bottom
                        anchors.right: parent.right
                        anchors.rightMargin: 5
                        contentItem: Rectangle {
                            implicitWidth: 4
                            radius: 2
                            visible: notesView.contentHeight > notesView.height
                            color: Qt.rgba(1, 1, 1, 0.35)
                        }
                    }

                    Text {
                        id: notesText

                        objectName: "notesText"
                        width: notesView.width
                        text: root.presenter.notes
                        textFormat: Text.PlainText
                        wrapMode: Text.Wrap
                        lineHeight: 1.15
                        font.pixelSize: 17
                        color: Qt.rgba(1, 1, 1, 0.75)
                    }
                }
            }

            ColumnLayout {
                id: actions

                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: stage.compact ? 28 : 40
                spacing: 20

                RowLayout {
                    // Equal shares, but never narrower than either label.
                    readonly property real share: Math.max(join.implicitWidth, dismiss.implicitWidth)

                    Layout.alignment: Qt.AlignHCenter
                    Layout.maximumWidth: 600
                    spacing: 20

                    PrimaryButton {
                        id: join

                        objectName: "joinButton"
                        Layout.fillWidth: true
                        Layout.preferredWidth: 600
                        Layout.minimumWidth: parent.share
                        visible: root.presenter.showsJoinButton
                        text: qsTr("Join Meeting")
                        iconName: "camera-video"
                        onClicked: root.presenter.joinMeeting()
                    }

                    SecondaryButton {
                        id: dismiss

                        objectName: "dismissButton"
                        Layout.fillWidth: true
                        Layout.preferredWidth: 600
                        Layout.minimumWidth: parent.share
                        // Alone, as wide as beside the join button.
                        Layout.maximumWidth: join.visible ? 600 : (600 - parent.spacing) / 2
                        Layout.alignment: Qt.AlignHCenter
                        text: qsTr("Dismiss")
                        iconName: "window-close"
                        onClicked: root.presenter.dismiss()
                    }
                }

                ColumnLayout {
                    Layout.alignment: Qt.AlignHCenter
                    visible: root.presenter.snoozeChoices.length > 0
                    spacing: 12

                    Text {
                        objectName: "snoozeHeading"
                        Layout.alignment: Qt.AlignHCenter
                        text: root.presenter.snoozeHeading
                        font.pixelSize: 20
                        color: Qt.rgba(1, 1, 1, 0.7)
                    }

                    Row {
                        // The presenter rebuilds the choices every tick; following them row by row keeps a
                        // button that is being pressed alive across the tick, so the click still lands.
                        readonly property var choices: root.presenter.snoozeChoices

                        function follow() {
                            choices.forEach((choice, row) => row < shownChoices.count ? shownChoices.set(row, choice)
                                                                                      : shownChoices.append(choice));
                            if (shownChoices.count > choices.length) {
                                shownChoices.remove(choices.length, shownChoices.count - choices.length);
                            }
                        }

                        Layout.alignment: Qt.AlignHCenter
                        spacing: 12
                        onChoicesChanged: follow()
                        Component.onCompleted: follow()

                        Repeater {
                            model: ListModel {
                                id: shownChoices
                            }

                            ChipButton {
                                required property int minutes
                                required property string label

                                objectName: "snoozeButton_" + minutes
                                text: label
                                onClicked: root.presenter.snooze(minutes)
                            }
                        }
                    }
                }

                ChipButton {
                    objectName: "remindAtStartButton"
                    Layout.alignment: Qt.AlignHCenter
                    visible: root.presenter.offersReminderAtStart
                    fillOpacity: 0.15
                    iconName: "appointment-soon"
                    text: qsTr("Remind me when meeting starts")
                    font.pixelSize: 15
                    font.weight: Font.Medium
                    leftPadding: 20
                    rightPadding: 20
                    onClicked: root.presenter.snooze(0)
                }
            }
        }
    }
}
