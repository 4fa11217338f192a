import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// The settings window's content: five tabs over the presenter, which computes every text, option and value shown.
Page {
    id: root

    required property QtObject presenter

    // Fusion keeps a light palette of its own; the desktop's, light or dark, goes to every control below.
    palette.window: systemPalette.window
    palette.windowText: systemPalette.windowText
    palette.base: systemPalette.base
    palette.alternateBase: systemPalette.alternateBase
    palette.text: systemPalette.text
    palette.button: systemPalette.button
    palette.buttonText: systemPalette.buttonText
    palette.highlight: systemPalette.highlight
    palette.highlightedText: systemPalette.highlightedText
    palette.light: systemPalette.light
    palette.midlight: systemPalette.midlight
    palette.mid: systemPalette.mid
    palette.dark: systemPalette.dark
    palette.shadow: systemPalette.shadow
    palette.placeholderText: systemPalette.placeholderText

    // Called each time the window opens.
    function showFirstTab() {
        tabs.currentIndex = 0;
        tabs.currentItem.forceActiveFocus();
    }

    function moveTab(step) {
        tabs.currentIndex = (tabs.currentIndex + step + tabs.count) % tabs.count;
    }

    SystemPalette {
        id: systemPalette

        colorGroup: SystemPalette.Active
    }

    Shortcut {
        sequences: ["Ctrl+Tab", "Ctrl+PgDown"]
        onActivated: root.moveTab(1)
    }

    Shortcut {
        sequences: ["Ctrl+Shift+Tab", "Ctrl+PgUp"]
        onActivated: root.moveTab(-1)
    }

    header: TabBar {
        id: tabs

        // The keyboard stays with the tabs as they change; Tab then leads into the page.
        onCurrentIndexChanged: {
            if (currentItem) {
                currentItem.forceActiveFocus();
            }
        }

        Repeater {
            model: [
                {"title": qsTr("General"), "icon": "preferences-system"},
                {"title": qsTr("Calendars"), "icon": "x-office-calendar"},
                {"title": qsTr("Alerts"), "icon": "preferences-desktop-notification"},
                {"title": qsTr("Appearance"), "icon": "preferences-desktop-theme"},
                {"title": qsTr("About"), "icon": "help-about"}
            ]

            TabButton {
                required property var modelData
                required property int index

                objectName: "tab" + index
                text: modelData.title
                display: AbstractButton.TextUnderIcon
                icon.source: "image://icon/" + modelData.icon + "?tint="
                             + encodeURIComponent(Qt.rgba(systemPalette.windowText.r, systemPalette.windowText.g,
                                                          systemPalette.windowText.b, 1))
                icon.color: "transparent"
                icon.width: 24
                icon.height: 24
                // Only the selected tab takes the focus on Tab; the arrows move between the tabs.
                focusPolicy: index === tabs.currentIndex ? Qt.StrongFocus : Qt.NoFocus
                Keys.onRightPressed: root.moveTab(1)
                Keys.onLeftPressed: root.moveTab(-1)
            }
        }
    }

    StackLayout {
        anchors.fill: parent
        currentIndex: tabs.currentIndex

        GeneralSettingsTab {
            presenter: root.presenter
        }

        CalendarSettingsTab {
            presenter: root.presenter
        }

        AlertSettingsTab {
            presenter: root.presenter
        }

        AppearanceSettingsTab {
            presenter: root.presenter
        }

        AboutTab {
            presenter: root.presenter
        }
    }
}
