import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Dialogs
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The user's own profile as others see it; "edit" turns it into the profile form.
Item {
    id: view
    required property UserProfileViewController controller
    enabled: controller.userInteractionEnabled

    ToolBar {
        id: header
        width: parent.width
        height: Theme.headerHeight
        background: Rectangle { color: Theme.background }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: Theme.spacing
            anchors.rightMargin: 4
            Label {
                Layout.fillWidth: true
                text: view.controller.title
                font: Theme.title
                color: Theme.text
                elide: Text.ElideRight
            }
            ToolButton {
                objectName: "editProfileButton"
                visible: !view.controller.editing
                contentItem: Icon { name: "edit"; color: Theme.primary }
                onClicked: view.controller.edit()
            }
            ToolButton {
                objectName: "cancelEditingButton"
                visible: view.controller.editing
                contentItem: Icon { name: "close"; color: Theme.primary }
                onClicked: view.controller.cancelEditing()
            }
        }
    }

    FileDialog {
        id: pictureDialog
        objectName: "pictureDialog"
        parentWindow: view.Window.window
        nameFilters: ["Pictures (*.png *.jpg *.jpeg)"]
        onAccepted: view.controller.choosePicture(selectedFile)
    }

    Flickable {
        id: page
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: (view.controller.editing ? form.implicitHeight : card.implicitHeight) + 40
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        ScrollIndicator.vertical: ScrollIndicator {}

        ProfileCard {
            id: card
            visible: !view.controller.editing
            x: Theme.spacing
            y: Theme.spacing
            width: page.width - 2 * Theme.spacing
            pictureUrl: view.controller.pictureUrl
            name: view.controller.name
            ageText: view.controller.ageText
            chips: [
                { icon: "place", text: view.controller.address, tint: Theme.primary },
                { icon: "person", text: view.controller.genderText, tint: Theme.primary }
            ]
            dogName: view.controller.dogName
            dogsText: view.controller.dogsText
            dogDescription: view.controller.aboutDog
            about: view.controller.aboutMe
        }

        ColumnLayout {
            id: form
            visible: view.controller.editing
            x: 24
            y: 8
            width: page.width - 48
            spacing: 12
            ProfileForm {
                Layout.fillWidth: true
                controller: view.controller
                onPickPicture: pictureDialog.open()
            }
            PrimaryButton {
                objectName: "saveButton"
                Layout.topMargin: 8
                iconName: "check"
                Localizable.xibLocKey: "Save"
                onClicked: view.controller.save()
            }
        }
    }

    BusyIndicator {
        anchors.centerIn: parent
        running: view.controller.loading && view.controller.name === ""
        visible: running
    }
}
