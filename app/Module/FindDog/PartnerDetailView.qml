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
        anchors.bottomMargin: Theme.spacing
        contentHeight: body.implicitHeight + 2 * Theme.spacing
        clip: true
        ScrollIndicator.vertical: ScrollIndicator {}

        ProfileCard {
            id: body
            x: Theme.spacing
            y: Theme.spacing
            width: page.width - 2 * Theme.spacing
            pictureUrl: view.controller.pictureUrl
            name: view.controller.name
            ageText: view.controller.ageText
            chips: [
                { icon: "circle", text: view.controller.presenceText,
                  tint: view.controller.online ? Theme.success : Theme.textSecondary },
                { icon: "place", text: view.controller.distanceText, tint: Theme.primary },
                { icon: "person", text: view.controller.genderText, tint: Theme.primary }
            ]
            dogName: view.controller.dogName
            dogsText: view.controller.dogsText
            dogDescription: view.controller.dogDescription
            about: view.controller.about
        }
    }

    // The actions stay at the bottom, over a bar of their own.
    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: actions.height + 2 * Theme.spacing
        color: Theme.background
        Rectangle { width: parent.width; height: 1; color: Theme.outline }
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
