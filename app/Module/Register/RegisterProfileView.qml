import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Dialogs
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The profile that finishes sign-up: picture, the person, their dogs and where they are.
Item {
    id: view
    required property RegisterProfileViewController controller
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
        id: scroller
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: form.implicitHeight + 40
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        ScrollIndicator.vertical: ScrollIndicator {}

        ColumnLayout {
            id: form
            x: 24
            y: 8
            width: view.width - 48
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
}
