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

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
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

        ColumnLayout {
            id: card
            visible: !view.controller.editing
            x: Theme.spacing
            y: Theme.spacing
            width: page.width - 2 * Theme.spacing
            spacing: Theme.spacing
            ProfileCard {
                Layout.fillWidth: true
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
            PrimaryButton {
                objectName: "editProfileButton"
                outlined: true
                iconName: "edit"
                Localizable.xibLocKey: "Edit profile"
                onClicked: view.controller.edit()
            }
            PrimaryButton {
                objectName: "changePasswordButton"
                outlined: true
                iconName: "password"
                Localizable.xibLocKey: "Change Password"
                onClicked: view.controller.openChangePassword()
            }
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
            PrimaryButton {
                objectName: "cancelEditingButton"
                outlined: true
                Localizable.xibLocKey: "Cancel"
                onClicked: view.controller.cancelEditing()
            }
        }
    }

    BusyIndicator {
        anchors.centerIn: parent
        running: view.controller.loading && view.controller.name === ""
        visible: running
    }
}
