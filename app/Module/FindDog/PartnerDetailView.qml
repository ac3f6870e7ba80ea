import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// One dog owner: the large picture, who they are, their dogs, the favourite mark and the way
// into a chat.
Item {
    id: view
    required property PartnerDetailViewController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.name
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    Flickable {
        id: page
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: actions.top
        contentHeight: body.implicitHeight + 2 * Theme.spacing
        clip: true
        ScrollIndicator.vertical: ScrollIndicator {}

        ColumnLayout {
            id: body
            x: Theme.spacing
            y: Theme.spacing
            width: page.width - 2 * Theme.spacing
            spacing: 14

            RemoteImage {
                objectName: "partnerPicture"
                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(width, 360)
                round: false
                source: view.controller.pictureUrl
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: 8
                Label {
                    objectName: "partnerName"
                    Layout.fillWidth: true
                    text: view.controller.name
                    font: Theme.display
                    color: Theme.text
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                }
                Label {
                    visible: text !== ""
                    text: view.controller.ageText
                    font: Theme.title
                    color: Theme.textSecondary
                }
            }

            Flow {
                Layout.fillWidth: true
                spacing: 8
                Repeater {
                    model: [
                        { icon: "circle", text: view.controller.presenceText,
                          tint: view.controller.online ? Theme.success : Theme.textSecondary },
                        { icon: "place", text: view.controller.distanceText, tint: Theme.primary },
                        { icon: "person", text: view.controller.genderText, tint: Theme.primary }
                    ]
                    Label {
                        required property var modelData
                        visible: modelData.text !== ""
                        text: modelData.text
                        font: Theme.caption
                        color: Theme.text
                        leftPadding: 30
                        rightPadding: 12
                        topPadding: 6
                        bottomPadding: 6
                        background: Rectangle { radius: 14; color: Theme.surfaceVariant }
                        Icon {
                            x: 10
                            anchors.verticalCenter: parent.verticalCenter
                            name: modelData.icon
                            size: modelData.icon === "circle" ? 10 : 15
                            color: modelData.tint
                        }
                    }
                }
            }

            SectionLabel {
                visible: view.controller.dogName !== "" || view.controller.dogsText !== ""
                Localizable.xibLocKey: "My dogs"
            }
            RowLayout {
                visible: view.controller.dogName !== "" || view.controller.dogsText !== ""
                Layout.fillWidth: true
                spacing: 10
                Rectangle {
                    width: 44; height: 44; radius: 22
                    color: Theme.surfaceVariant
                    Icon { anchors.centerIn: parent; name: "pets"; color: Theme.primary }
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 2
                    Label {
                        Layout.fillWidth: true
                        text: view.controller.dogName
                        font: Theme.headline
                        color: Theme.text
                        elide: Text.ElideRight
                    }
                    Label {
                        text: view.controller.dogsText
                        font: Theme.caption
                        color: Theme.textSecondary
                    }
                }
            }
            Label {
                visible: text !== ""
                Layout.fillWidth: true
                text: view.controller.dogDescription
                font: Theme.body
                color: Theme.text
                wrapMode: Text.Wrap
            }

            SectionLabel {
                visible: view.controller.about !== ""
                Localizable.xibLocKey: "About me"
            }
            Label {
                visible: text !== ""
                Layout.fillWidth: true
                text: view.controller.about
                font: Theme.body
                color: Theme.text
                wrapMode: Text.Wrap
            }
        }
    }

    RowLayout {
        id: actions
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: Theme.spacing
        spacing: 12
        RoundButton {
            objectName: "favouriteToggle"
            Layout.preferredWidth: Theme.controlHeight
            Layout.preferredHeight: Theme.controlHeight
            enabled: !view.controller.favouriteBusy
            Material.background: Theme.surface
            contentItem: Icon {
                name: view.controller.favourite ? "favorite" : "favorite_border"
                color: view.controller.favourite ? Theme.error : Theme.primary
            }
            onClicked: view.controller.toggleFavourite()
        }
        PrimaryButton {
            objectName: "chatButton"
            Layout.fillWidth: true
            iconName: "chat"
            Localizable.xibLocKey: "Chat"
            onClicked: view.controller.openChat()
        }
    }
}
