import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Shows the window's alert, one at a time, with its buttons side by side.
Dialog {
    id: dialog
    property Alert alert
    objectName: "alertDialog"
    modal: true
    closePolicy: Popup.NoAutoClose
    anchors.centerIn: Overlay.overlay
    width: Math.min(parent ? parent.width - 64 : 320, 340)
    visible: alert !== null
    padding: 22
    background: Rectangle { radius: 18; color: Theme.surface }

    contentItem: ColumnLayout {
        spacing: 10
        Label {
            objectName: "alertTitle"
            Layout.fillWidth: true
            visible: text !== ""
            text: dialog.alert ? dialog.alert.title : ""
            font: Theme.headline
            color: Theme.text
            wrapMode: Text.WordWrap
            horizontalAlignment: Text.AlignHCenter
        }
        Label {
            objectName: "alertMessage"
            Layout.fillWidth: true
            visible: text !== ""
            text: dialog.alert ? dialog.alert.message : ""
            font: Theme.body
            color: Theme.textSecondary
            wrapMode: Text.WordWrap
            horizontalAlignment: Text.AlignHCenter
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 8
            spacing: 8
            Repeater {
                model: dialog.alert ? dialog.alert.actionTitles : []
                Button {
                    required property int index
                    required property string modelData
                    objectName: "alertAction" + index
                    Layout.fillWidth: true
                    text: modelData
                    flat: dialog.alert && dialog.alert.actionStyle(index) === Alert.Cancel
                    highlighted: !flat
                    Material.accent: dialog.alert && dialog.alert.actionStyle(index) === Alert.Destructive
                                     ? Theme.error : Theme.primary
                    onClicked: dialog.alert.trigger(index)
                }
            }
        }
    }
}
