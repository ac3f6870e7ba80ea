import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Qt5Compat.GraphicalEffects
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

            Item {
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 132
                Layout.preferredHeight: 132
                Image {
                    id: picture
                    anchors.fill: parent
                    source: view.controller.hasPicture ? view.controller.pictureUrl
                                                       : "qrc:/images/placeholder.svg"
                    fillMode: Image.PreserveAspectCrop
                    sourceSize.width: 264
                    sourceSize.height: 264
                    visible: false
                }
                Rectangle {
                    id: circle
                    anchors.fill: parent
                    radius: width / 2
                    visible: false
                }
                OpacityMask {
                    objectName: "picturePreview"
                    readonly property url pictureSource: picture.source
                    anchors.fill: parent
                    source: picture
                    maskSource: circle
                }
                Rectangle {
                    anchors.fill: parent
                    radius: width / 2
                    color: "transparent"
                    border.color: Theme.outline
                    border.width: 2
                }
                RoundButton {
                    objectName: "choosePictureButton"
                    width: 44
                    height: 44
                    anchors.right: parent.right
                    anchors.bottom: parent.bottom
                    highlighted: true
                    Material.accent: Theme.primary
                    icon.source: ""
                    contentItem: Icon { name: "photo_camera"; color: Theme.textOnPrimary; size: 22 }
                    onClicked: pictureDialog.open()
                }
            }
            Label {
                Layout.alignment: Qt.AlignHCenter
                Localizable.xibLocKey: view.controller.hasPicture ? "Change picture" : "Choose picture"
                font: Theme.caption
                color: Theme.textSecondary
            }

            SectionLabel { Localizable.xibLocKey: "About me" }
            FormField {
                objectName: "nameField"
                icon: "person"
                Localizable.xibPlaceholderLocKey: "Name"
                text: view.controller.name
                onTextEdited: view.controller.name = text
            }
            Segmented {
                objectName: "gender"
                options: [{ key: "Male", value: "male" }, { key: "Female", value: "female" }]
                value: view.controller.gender
                onChosen: value => view.controller.gender = value
            }
            FormField {
                objectName: "ageField"
                icon: "cake"
                Localizable.xibPlaceholderLocKey: "Age"
                inputMethodHints: Qt.ImhDigitsOnly
                validator: IntValidator { bottom: 0; top: 150 }
                text: view.controller.age
                onTextEdited: view.controller.age = text
            }
            Label {
                Localizable.xibLocKey: "Tell other dog owners about yourself"
                font: Theme.caption
                color: Theme.textSecondary
            }
            TextArea {
                objectName: "aboutMeField"
                Layout.fillWidth: true
                Layout.preferredHeight: 96
                Localizable.xibPlaceholderLocKey: "About me"
                wrapMode: TextEdit.Wrap
                font: Theme.body
                text: view.controller.aboutMe
                onTextChanged: if (text !== view.controller.aboutMe) view.controller.aboutMe = text
                background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
            }

            SectionLabel { Localizable.xibLocKey: "My dogs" }
            Segmented {
                objectName: "numberOfDogs"
                options: [{ key: "1", value: "0" }, { key: "2", value: "1" },
                          { key: "3", value: "2" }, { key: "Pack", value: "pack" }]
                value: view.controller.numberOfDogs
                onChosen: value => view.controller.numberOfDogs = value
            }
            FormField {
                objectName: "dogNameField"
                icon: "pets"
                Localizable.xibPlaceholderLocKey: "Dog's name"
                text: view.controller.dogName
                onTextEdited: view.controller.dogName = text
            }
            Label {
                Localizable.xibLocKey: "About my dog"
                font: Theme.caption
                color: Theme.textSecondary
            }
            TextArea {
                objectName: "aboutDogField"
                Layout.fillWidth: true
                Layout.preferredHeight: 96
                Localizable.xibPlaceholderLocKey: "About my dog"
                wrapMode: TextEdit.Wrap
                font: Theme.body
                text: view.controller.aboutDog
                onTextChanged: if (text !== view.controller.aboutDog) view.controller.aboutDog = text
                background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
            }

            SectionLabel { Localizable.xibLocKey: "Address" }
            FormField {
                objectName: "addressField"
                icon: "place"
                Localizable.xibPlaceholderLocKey: "Address"
                text: view.controller.address
                onTextEdited: view.controller.address = text
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
