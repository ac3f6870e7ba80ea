import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The settings: one row each, in their fixed order; the last two are switches.
Item {
    id: view
    required property SetingViewController controller
    readonly property var icons: ["shield", "notifications", "help_outline", "delete_outline",
                                  "logout", "social_distance", "translate"]

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
    }

    ListView {
        objectName: "settingsList"
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        clip: true
        model: view.controller.rowKeys
        delegate: ItemDelegate {
            id: row
            required property string modelData
            required property int index
            readonly property bool isSwitch: index >= 5
            objectName: "SettingCellid_" + index
            width: ListView.view.width
            height: 60
            background: Rectangle {
                color: row.pressed && !row.isSwitch ? Theme.surfaceVariant : Theme.surface
                Rectangle { anchors.bottom: parent.bottom; x: 56; width: parent.width - x; height: 1; color: Theme.outline }
            }
            onClicked: if (!isSwitch) view.controller.selectRow(index)
            contentItem: RowLayout {
                spacing: 16
                Icon {
                    Layout.leftMargin: 4
                    name: view.icons[row.index]
                    color: row.index === 3 || row.index === 4 ? Theme.error : Theme.primary
                }
                Label {
                    Layout.fillWidth: true
                    Localizable.xibLocKey: row.modelData
                    font: Theme.body
                    color: row.index === 3 || row.index === 4 ? Theme.error : Theme.text
                    elide: Text.ElideRight
                }
                Label {
                    visible: row.index === 1
                    Localizable.xibLocKey: view.controller.pushesOn ? "On" : "Off"
                    font: Theme.caption
                    color: Theme.textSecondary
                }
                Icon {
                    visible: !row.isSwitch && row.index !== 4
                    name: "chevron_right"
                    color: Theme.textSecondary
                }
                ToggleSwitch {
                    objectName: row.index === 5 ? "distanceWarningSwitch" : "languageSwitch"
                    visible: row.isSwitch
                    checked: row.index === 5 ? view.controller.distanceWarning : view.controller.german
                    onToggled: row.index === 5 ? view.controller.distanceWarning = checked
                                               : view.controller.setGerman(checked)
                }
            }
        }
    }
}
