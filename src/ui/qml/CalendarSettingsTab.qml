import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// The system calendar's status, the Microsoft 365 account, which events count, and which calendars are read.
SettingsForm {
    id: tab

    onVisibleChanged: {
        if (visible) {
            presenter.calendars.loadCalendars();
        }
    }

    SystemPalette {
        id: systemPalette

        colorGroup: SystemPalette.Active
    }

    SettingsSection {
        title: qsTr("Calendar Sources")

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Image {
                sourceSize: Qt.size(18, 18)
                source: "image://icon/x-office-calendar?tint="
                        + encodeURIComponent(Qt.rgba(systemPalette.windowText.r, systemPalette.windowText.g,
                                                     systemPalette.windowText.b, 1))
            }

            Label {
                Layout.fillWidth: true
                text: qsTr("System Calendar")
            }

            Image {
                sourceSize: Qt.size(12, 12)
                source: "image://icon/" + tab.presenter.statusIcon + "?tint="
                        + encodeURIComponent(tab.presenter.statusColor)
            }

            Label {
                objectName: "statusLabel"
                text: tab.presenter.statusText
                color: tab.presenter.statusColor
                font.pointSize: tab.basePointSize * 0.85
            }
        }

        Button {
            visible: tab.presenter.permissionDenied
            text: qsTr("Open System Settings")
            onClicked: tab.presenter.openSystemSettings()
        }
    }

    SettingsSection {
        title: qsTr("Microsoft 365")

        SwitchRow {
            text: qsTr("Alert for Outlook meetings")
            help: qsTr("Read the calendar of your Microsoft 365 account")
            checked: tab.preferences.outlookEnabled
            onToggled: on => tab.preferences.outlookEnabled = on
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Image {
                sourceSize: Qt.size(18, 18)
                source: "image://icon/system-users?tint="
                        + encodeURIComponent(Qt.rgba(systemPalette.windowText.r, systemPalette.windowText.g,
                                                     systemPalette.windowText.b, 1))
            }

            Label {
                objectName: "outlookAccount"
                Layout.fillWidth: true
                text: tab.presenter.outlookAccountText
                elide: Text.ElideRight
            }

            Image {
                sourceSize: Qt.size(12, 12)
                source: "image://icon/" + tab.presenter.outlookStatusIcon + "?tint="
                        + encodeURIComponent(tab.presenter.outlookStatusColor)
            }

            Label {
                objectName: "outlookStatusLabel"
                Layout.maximumWidth: 260
                text: tab.presenter.outlookStatusText
                color: tab.presenter.outlookStatusColor
                font.pointSize: tab.basePointSize * 0.85
                elide: Text.ElideRight
            }
        }

        Label {
            visible: text !== "" && !tab.presenter.outlookSigningIn
            Layout.fillWidth: true
            text: tab.presenter.outlookErrorText
            wrapMode: Text.WordWrap
            font.pointSize: tab.basePointSize * 0.85
            color: tab.presenter.secondaryColor
        }

        RowLayout {
            spacing: 8

            Button {
                objectName: "outlookSignIn"
                text: tab.presenter.outlookSignedIn ? qsTr("Sign Out") : qsTr("Sign In…")
                enabled: !tab.presenter.outlookSigningIn
                onClicked: tab.presenter.outlookSignedIn ? tab.presenter.signOutOfOutlook()
                                                         : tab.presenter.signInToOutlook()
            }

            Button {
                visible: tab.presenter.outlookSigningIn
                text: qsTr("Cancel")
                onClicked: tab.presenter.cancelOutlookSignIn()
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Label {
                text: qsTr("Application (client) ID")
            }

            TextField {
                objectName: "outlookClientID"
                Layout.fillWidth: true
                text: tab.preferences.outlookClientID
                placeholderText: "00000000-0000-0000-0000-000000000000"
                selectByMouse: true
                Accessible.name: qsTr("Application (client) ID")
                onTextEdited: tab.preferences.outlookClientID = text
            }
        }

        Label {
            Layout.fillWidth: true
            text: qsTr("The ID of your app registration in Microsoft Entra. Your sign-in is kept in the keyring.")
            wrapMode: Text.WordWrap
            font.pointSize: tab.basePointSize * 0.85
            color: tab.presenter.secondaryColor
        }
    }

    SettingsSection {
        title: qsTr("Event Filters")

        SwitchRow {
            text: qsTr("Include all-day events")
            help: qsTr("Show alerts for all-day events")
            checked: tab.preferences.includeAllDayEvents
            onToggled: on => tab.preferences.includeAllDayEvents = on
        }

        PickerRow {
            text: qsTr("Minimum meeting duration")
            help: qsTr("Only show alerts for meetings longer than this duration")
            picker: tab.presenter.minimumDuration
        }
    }

    SettingsSection {
        title: qsTr("Calendars to Monitor")

        Label {
            visible: tab.presenter.calendars.showsNoCalendars
            text: qsTr("No calendars available")
            color: tab.presenter.secondaryColor
        }

        Repeater {
            model: tab.presenter.calendars

            CheckBox {
                id: calendar

                required property var model

                objectName: "calendar"
                Layout.fillWidth: true
                text: model.title
                checked: model.checked
                onToggled: {
                    tab.presenter.calendars.setCalendarEnabled(model.identifier, checked);
                    checked = Qt.binding(() => calendar.model.checked);
                }

                contentItem: RowLayout {
                    spacing: 6

                    Item {
                        implicitWidth: calendar.indicator.width + calendar.spacing - 6
                    }

                    Rectangle {
                        implicitWidth: 10
                        implicitHeight: 10
                        radius: 5
                        color: calendar.model.color
                    }

                    Label {
                        Layout.fillWidth: true
                        text: calendar.text
                        elide: Text.ElideRight
                    }
                }
            }
        }
    }
}
