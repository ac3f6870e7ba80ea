import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// How the user hears about new messages; every switch takes effect at once.
Item {
    id: view
    required property NotificationSettingsController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    component SwitchRow: ItemDelegate {
        id: row
        property string key
        property string iconName
        property bool on
        signal switched(bool value)
        Layout.fillWidth: true
        height: 60
        enabled: view.controller.loaded
        background: Rectangle {
            color: Theme.surface
            Rectangle { anchors.bottom: parent.bottom; x: 56; width: parent.width - x; height: 1; color: Theme.outline }
        }
        contentItem: RowLayout {
            spacing: 16
            Icon { Layout.leftMargin: 4; name: row.iconName; color: Theme.primary }
            Label {
                Layout.fillWidth: true
                Localizable.xibLocKey: row.key
                font: Theme.body
                color: Theme.text
                wrapMode: Text.WordWrap
            }
            ToggleSwitch {
                objectName: row.objectName + "Switch"
                checked: row.on
                onToggled: row.switched(checked)
            }
        }
    }

    ColumnLayout {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        spacing: 0
        SwitchRow {
            objectName: "pushes"
            key: "Notifications for new messages"
            iconName: "notifications_active"
            on: view.controller.pushes
            onSwitched: (value) => view.controller.pushes = value
        }
        SwitchRow {
            objectName: "tone"
            key: "Sound"
            iconName: "volume_up"
            on: view.controller.tone
            enabled: view.controller.loaded && view.controller.pushes
            onSwitched: (value) => view.controller.tone = value
        }
        SwitchRow {
            objectName: "vibration"
            key: "Vibration"
            iconName: "vibration"
            on: view.controller.vibration
            enabled: view.controller.loaded && view.controller.pushes
            onSwitched: (value) => view.controller.vibration = value
        }
        SwitchRow {
            objectName: "preview"
            key: "Show the message text"
            iconName: "chat_bubble_outline"
            on: view.controller.preview
            enabled: view.controller.loaded && view.controller.pushes
            onSwitched: (value) => view.controller.preview = value
        }
        SectionLabel {
            Layout.leftMargin: Theme.spacing
            Layout.topMargin: 24
            Localizable.xibLocKey: "Notification light"
        }
        RowLayout {
            Layout.leftMargin: Theme.spacing
            Layout.topMargin: 8
            spacing: 16
            Repeater {
                model: view.controller.lightColours
                Rectangle {
                    required property string modelData
                    required property int index
                    objectName: "light" + index
                    width: 40; height: 40; radius: 20
                    color: modelData
                    readonly property bool chosen: view.controller.lightColour === index
                    border.width: chosen ? 3 : 0
                    border.color: Theme.text
                    Icon { anchors.centerIn: parent; visible: parent.chosen; name: "check"; size: 22; color: "white" }
                    TapHandler { onTapped: view.controller.lightColour = index }
                }
            }
        }
    }
}
