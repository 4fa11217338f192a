import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A tab's page of titled sections, scrolled to keep the control that has the keyboard in view.
Flickable {
    id: form

    required property QtObject presenter
    readonly property QtObject preferences: presenter.preferences
    readonly property real basePointSize: Qt.application.font.pointSize > 0 ? Qt.application.font.pointSize : 10
    readonly property int margin: 16
    default property alias sections: column.data

    clip: true
    contentWidth: width
    contentHeight: column.implicitHeight + 2 * margin
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}

    ColumnLayout {
        id: column

        x: form.margin
        y: form.margin
        width: form.width - 2 * form.margin
        spacing: 14
    }

    Connections {
        target: form.Window.window

        function onActiveFocusItemChanged() {
            const item = form.Window.activeFocusItem;
            let inside = item;
            while (inside && inside !== column) {
                inside = inside.parent;
            }
            if (!inside || !form.visible) {
                return;
            }
            const top = item.mapToItem(column, 0, 0).y + form.margin;
            const bottom = top + item.height;
            if (top - form.margin < form.contentY) {
                form.contentY = Math.max(0, top - form.margin);
            } else if (bottom + form.margin > form.contentY + form.height) {
                form.contentY = Math.min(form.contentHeight - form.height, bottom + form.margin - form.height);
            }
        }
    }
}
