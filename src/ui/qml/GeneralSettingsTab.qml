import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// When Bellwick starts, how often it reads the calendars, and the way back to the defaults.
SettingsForm {
    id: tab

    SettingsSection {
        title: qsTr("Startup")

        SwitchRow {
            text: qsTr("Launch at login")
            help: qsTr("Automatically start Bellwick when you log in")
            checked: tab.preferences.launchAtLogin
            onToggled: on => tab.preferences.launchAtLogin = on
        }

        SwitchRow {
            text: qsTr("Show in Dock")
            help: qsTr("Show the app icon in the Dock (requires restart)")
            checked: tab.preferences.showInDock
            onToggled: on => tab.preferences.showInDock = on
        }
    }

    SettingsSection {
        title: qsTr("Calendar Refresh")

        PickerRow {
            text: qsTr("Refresh calendar every")
            help: qsTr("How often to check your calendars for new or updated events")
            picker: tab.presenter.refreshInterval
        }

        Label {
            Layout.fillWidth: true
            text: qsTr("More frequent updates use more battery but catch last-minute calendar changes faster.")
            wrapMode: Text.WordWrap
            font.pointSize: tab.basePointSize * 0.85
            color: tab.presenter.secondaryColor
        }
    }

    SettingsSection {
        Button {
            text: qsTr("Reset to Defaults")
            onClicked: tab.presenter.resetToDefaults()
        }
    }
}
