import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// When the alert comes, its sound, snooze and dismissal, the join button, and a test alert.
SettingsForm {
    id: tab

    SettingsSection {
        title: qsTr("Timing")

        PickerRow {
            text: qsTr("Show alert before event")
            help: qsTr("How many minutes before an event to show the alert")
            picker: tab.presenter.alertLead
        }
    }

    SettingsSection {
        title: qsTr("Sound")

        SwitchRow {
            text: qsTr("Play sound")
            help: qsTr("Play a sound when showing an alert")
            checked: tab.preferences.playSound
            onToggled: on => tab.preferences.playSound = on
        }

        PickerRow {
            visible: tab.preferences.playSound
            text: qsTr("Alert sound")
            picker: tab.presenter.alertSound
        }

        Button {
            visible: tab.preferences.playSound
            flat: true
            text: qsTr("Preview Sound")
            palette.buttonText: tab.presenter.linkColor
            onClicked: tab.presenter.previewSound()
        }
    }

    SettingsSection {
        title: qsTr("Snooze")

        PickerRow {
            text: qsTr("Default snooze")
            help: qsTr("Default duration when snoozing an alert")
            picker: tab.presenter.defaultSnooze
        }

        RowLayout {
            Layout.fillWidth: true

            Label {
                Layout.fillWidth: true
                Layout.alignment: Qt.AlignTop
                text: qsTr("Snooze style")
            }

            ColumnLayout {
                Layout.preferredWidth: 210
                spacing: 0

                Repeater {
                    model: tab.presenter.snoozeStyle.options

                    RadioButton {
                        required property var modelData
                        required property int index

                        text: modelData.label
                        checked: index === tab.presenter.snoozeStyle.currentIndex
                        ToolTip.visible: hovered
                        ToolTip.text: qsTr("Choose between relative durations (e.g., 5 min) or absolute reminder times (e.g., 8:55)")
                        ToolTip.delay: 600
                        onToggled: {
                            tab.presenter.snoozeStyle.pick(index);
                            checked = Qt.binding(() => index === tab.presenter.snoozeStyle.currentIndex);
                        }
                    }
                }
            }
        }
    }

    SettingsSection {
        title: qsTr("Auto-Dismiss")

        SwitchRow {
            text: qsTr("Auto-dismiss after meeting starts")
            help: qsTr("Automatically dismiss the alert after the meeting has started")
            checked: tab.preferences.autoDismissAfterStart
            onToggled: on => tab.preferences.autoDismissAfterStart = on
        }

        PickerRow {
            visible: tab.preferences.autoDismissAfterStart
            text: qsTr("Dismiss after")
            picker: tab.presenter.dismissAfter
        }
    }

    SettingsSection {
        title: qsTr("Meeting Links")

        SwitchRow {
            text: qsTr("Show Join Meeting button")
            help: qsTr("Show a button to quickly join video meetings (Zoom, Teams, Meet)")
            checked: tab.preferences.showJoinButton
            onToggled: on => tab.preferences.showJoinButton = on
        }
    }

    SettingsSection {
        title: qsTr("Preview")

        Button {
            text: qsTr("Test Alert")
            ToolTip.visible: hovered
            ToolTip.text: qsTr("Show a test alert to preview the appearance")
            ToolTip.delay: 600
            onClicked: tab.presenter.showTestAlert()
        }
    }
}
