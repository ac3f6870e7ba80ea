import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Why the account goes (one reason), more in a message if the person wants, then delete.
Item {
    id: view
    required property DeleteAccViewController controller
    readonly property var buttonNames: ["btnFirst", "btnSecond", "btnThird", "btnFourth", "btnFive"]

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    Flickable {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: body.implicitHeight + 2 * Theme.spacing
        clip: true
        ColumnLayout {
            id: body
            x: Theme.spacing
            y: Theme.spacing
            width: parent.width - 2 * Theme.spacing
            spacing: 12
            SectionLabel { Localizable.xibLocKey: "Why do you want to delete your account?" }
            // DeleteReasonsView: five reasons, one selected.
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: reasons.implicitHeight
                radius: Theme.radius
                color: Theme.surface
                border.color: Theme.outline
                clip: true
                Column {
                    id: reasons
                    width: parent.width
                    Repeater {
                        model: view.controller.reasonKeys
                        ItemDelegate {
                            id: reason
                            required property string modelData
                            required property int index
                            objectName: view.buttonNames[index]
                            width: reasons.width
                            height: 56
                            background: Rectangle {
                                color: reason.pressed ? Theme.surfaceVariant : "transparent"
                                Rectangle { visible: reason.index > 0; width: parent.width; height: 1; color: Theme.outline }
                            }
                            onClicked: view.controller.selectedReasonIndex = index
                            contentItem: RowLayout {
                                spacing: 12
                                Label {
                                    Layout.fillWidth: true
                                    Localizable.xibLocKey: reason.modelData
                                    font: Theme.body
                                    color: Theme.text
                                    wrapMode: Text.WordWrap
                                }
                                Icon {
                                    readonly property bool chosen: view.controller.selectedReasonIndex === reason.index
                                    name: chosen ? "radio_button_checked" : "radio_button_unchecked"
                                    color: chosen ? Theme.primary : Theme.textSecondary
                                }
                            }
                        }
                    }
                }
            }
            Button {
                objectName: "btnTellus"
                visible: !view.controller.tellingUs
                flat: true
                Localizable.xibLocKey: "Tell us more"
                Material.foreground: Theme.primary
                onClicked: view.controller.btnTellus()
            }
            TextArea {
                objectName: "txtViewMessage"
                visible: view.controller.tellingUs
                Layout.fillWidth: true
                Layout.preferredHeight: 120
                Localizable.xibPlaceholderLocKey: "Tell us more"
                wrapMode: TextEdit.Wrap
                font: Theme.body
                text: view.controller.txtViewMessage
                onTextChanged: if (text !== view.controller.txtViewMessage) view.controller.txtViewMessage = text
                background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
            }
            PrimaryButton {
                id: deleteButton
                objectName: "deleteButton"
                Layout.topMargin: 8
                iconName: "delete_forever"
                Localizable.xibLocKey: "Delete Account"
                background: Rectangle { radius: Theme.radius; color: deleteButton.down ? "#8E1C1C" : Theme.error }
                onClicked: view.controller.deleteAccount()
            }
        }
    }
}
