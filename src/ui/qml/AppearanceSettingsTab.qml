import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// Where the alert goes and how it looks.
SettingsForm {
    id: tab

    onVisibleChanged: {
        if (visible) {
            presenter.loadScreens();
        }
    }

    SettingsSection {
        title: qsTr("Display")

        PickerRow {
            text: qsTr("Show alert on")
            help: qsTr("Which display to show the fullscreen alert on")
            picker: tab.presenter.display
        }
    }

    SettingsSection {
        title: qsTr("Alert Style")

        PickerRow {
            text: qsTr("Color scheme")
            help: qsTr("Color theme for the fullscreen alert")
            picker: tab.presenter.colorScheme
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 8

            RowLayout {
                Layout.fillWidth: true

                Label {
                    Layout.fillWidth: true
                    text: qsTr("Background opacity")
                }

                Label {
                    // As wide as the widest percentage, with room for the space some languages put before the
                    // sign, so the figures do not shift while sliding.
                    Layout.preferredWidth: widest.advanceWidth
                    horizontalAlignment: Text.AlignRight
                    text: tab.presenter.opacityText
                    color: tab.presenter.secondaryColor

                    TextMetrics {
                        id: widest

                        text: "100 %"
                    }
                }
            }

            Slider {
                Layout.fillWidth: true
                from: 0.5
                to: 1.0
                stepSize: 0.05
                snapMode: Slider.SnapAlways
                value: tab.preferences.alertOpacity
                Accessible.name: qsTr("Background opacity")
                Accessible.description: qsTr("How opaque the alert background should be")
                ToolTip.visible: hovered
                ToolTip.text: qsTr("How opaque the alert background should be")
                ToolTip.delay: 600
                onMoved: {
                    tab.presenter.setOpacity(value);
                    value = Qt.binding(() => tab.preferences.alertOpacity);
                }
            }
        }

        SwitchRow {
            text: qsTr("Show event description")
            help: qsTr("Display the event notes/description in the alert")
            checked: tab.preferences.showEventNotes
            onToggled: on => tab.preferences.showEventNotes = on
        }
    }
}
