import QtQuick
import QtQuick.Templates as T

// The look every alert button shares: an optional icon before the label, a slight give while pressed, and a ring
// while the keyboard is on it.
T.Button {
    id: control

    // A freedesktop icon name, drawn in the label's colour.
    property string iconName
    property color textColor: "white"
    property real cornerRadius: 14

    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                             implicitContentHeight + topPadding + bottomPadding)

    scale: down ? 0.98 : 1
    Behavior on scale {
        NumberAnimation {
            duration: 100
            easing.type: Easing.InOutQuad
        }
    }

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }

    // Space and Enter act only while the ring shows: focus that came back with the window is not visible, and a
    // keystroke meant for another window must not answer the alert.
    Keys.onPressed: event => {
        if ([Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter, Qt.Key_Select].includes(event.key)) {
            event.accepted = true;
            if (control.visualFocus && !event.isAutoRepeat) {
                control.clicked();
            }
        }
    }

    Rectangle {
        objectName: "focusRing"
        anchors.fill: parent
        anchors.margins: -6
        visible: control.visualFocus
        radius: control.cornerRadius + 6
        color: "transparent"
        border.width: 3
        border.color: Qt.rgba(1, 1, 1, 0.9)
        layer.enabled: true
    }

    contentItem: Item {
        implicitWidth: content.implicitWidth
        implicitHeight: content.implicitHeight

        Row {
            id: content
            anchors.centerIn: parent
            spacing: Math.round(control.font.pixelSize * 0.45)

            Image {
                anchors.verticalCenter: parent.verticalCenter
                visible: control.iconName !== ""
                width: Math.round(control.font.pixelSize * 1.1)
                height: width
                sourceSize: Qt.size(width, height)
                source: visible ? "image://icon/" + control.iconName + "?tint="
                                  + encodeURIComponent(Qt.rgba(control.textColor.r, control.textColor.g,
                                                               control.textColor.b, 1))
                                : ""
                opacity: control.textColor.a
            }

            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: control.text
                font: control.font
                color: control.textColor
            }
        }
    }
}
