import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A labelled menu over one of the presenter's pickers, with its hover help; options may carry a gradient dot.
RowLayout {
    id: row

    property alias text: label.text
    property string help
    required property QtObject picker

    component GradientDot: Rectangle {
        id: dot

        property var option

        visible: option !== undefined && option.gradientStart !== undefined
        implicitWidth: 16
        implicitHeight: 16
        radius: 8
        gradient: Gradient {
            orientation: Gradient.Horizontal

            GradientStop {
                position: 0
                color: dot.visible ? dot.option.gradientStart : "transparent"
            }

            GradientStop {
                position: 1
                color: dot.visible ? dot.option.gradientEnd : "transparent"
            }
        }
    }

    Layout.fillWidth: true

    Label {
        id: label

        Layout.fillWidth: true
        elide: Text.ElideRight
    }

    ComboBox {
        id: menu

        Layout.preferredWidth: 210
        model: row.picker.options
        textRole: "label"
        currentIndex: row.picker.currentIndex
        Accessible.name: label.text
        Accessible.description: row.help
        ToolTip.visible: hovered && !popup.visible && row.help !== ""
        ToolTip.text: row.help
        ToolTip.delay: 600
        onActivated: index => {
            row.picker.pick(index);
            currentIndex = Qt.binding(() => row.picker.currentIndex);
        }

        contentItem: RowLayout {
            spacing: 8

            GradientDot {
                Layout.leftMargin: 6
                option: row.picker.options[menu.currentIndex]
            }

            Label {
                Layout.fillWidth: true
                Layout.leftMargin: 6
                text: menu.displayText
                elide: Text.ElideRight
            }
        }

        delegate: ItemDelegate {
            required property var modelData
            required property int index

            width: ListView.view.width
            highlighted: menu.highlightedIndex === index

            contentItem: RowLayout {
                spacing: 8

                GradientDot {
                    option: modelData
                }

                Label {
                    Layout.fillWidth: true
                    text: modelData.label
                    font.bold: index === menu.currentIndex
                }
            }
        }
    }
}
