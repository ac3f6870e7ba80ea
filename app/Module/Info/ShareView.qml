import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The invitation as it will be sent, a button that copies it, and the two store pages.
Item {
    id: view
    required property ShareViewController controller

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
        ScrollIndicator.vertical: ScrollIndicator {}
        ColumnLayout {
            id: body
            x: Theme.spacing
            y: Theme.spacing
            width: parent.width - 2 * Theme.spacing
            spacing: 12
            Rectangle {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: 8
                width: 88; height: 88; radius: 44
                color: Theme.surfaceVariant
                Icon { anchors.centerIn: parent; name: "share"; size: 40; color: Theme.primary }
            }
            Label {
                Layout.fillWidth: true
                Localizable.xibLocKey: "Tell other dog owners about Tailwise."
                font: Theme.headline
                color: Theme.text
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
            }
            // The message exactly as it is copied.
            Pane {
                Layout.fillWidth: true
                Layout.topMargin: 8
                padding: 16
                background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
                Label {
                    objectName: "shareMessage"
                    width: parent.width
                    text: view.controller.shareText
                    font: Theme.body
                    color: Theme.textSecondary
                    wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                }
            }
            PrimaryButton {
                objectName: "copyLinkButton"
                Layout.topMargin: 4
                iconName: "content_copy"
                Localizable.xibLocKey: "Copy link"
                onClicked: view.controller.copyLink()
            }
            SectionLabel {
                Layout.topMargin: 12
                Localizable.xibLocKey: "Download"
            }
            Repeater {
                model: [
                    { name: "iPhone", icon: "phone_iphone", link: view.controller.iPhoneLink },
                    { name: "Android", icon: "phone_android", link: view.controller.androidLink }
                ]
                ItemDelegate {
                    required property var modelData
                    objectName: "storeLink_" + modelData.name
                    Layout.fillWidth: true
                    leftPadding: 12
                    onClicked: view.controller.openLink(modelData.link)
                    background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
                    contentItem: RowLayout {
                        spacing: 12
                        Icon { name: modelData.icon; size: 24; color: Theme.primary }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 0
                            Label { text: modelData.name; font: Theme.body; color: Theme.text }
                            Label {
                                Layout.fillWidth: true
                                text: modelData.link
                                font: Theme.caption
                                color: Theme.textSecondary
                                elide: Text.ElideMiddle
                            }
                        }
                        Icon { name: "open_in_new"; size: 20; color: Theme.textSecondary }
                    }
                }
            }
        }
    }
}
