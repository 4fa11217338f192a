import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A labelled switch with its hover help.
RowLayout {
    id: row

    property alias text: label.text
    property string help
    property bool checked

    signal toggled(bool on)

    Layout.fillWidth: true

    Label {
        id: label

        Layout.fillWidth: true
        elide: Text.ElideRight
    }

    Switch {
        checked: row.checked
        Accessible.name: label.text
        Accessible.description: row.help
        ToolTip.visible: hovered && row.help !== ""
        ToolTip.text: row.help
        ToolTip.delay: 600
        onToggled: {
            row.toggled(checked);
            // The stored value decides, also after a reset.
            checked = Qt.binding(() => row.checked);
        }
    }
}
