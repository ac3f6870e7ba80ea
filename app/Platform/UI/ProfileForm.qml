import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The profile's fields: picture, the person, their dogs and where they are. The screen that
// shows it opens the picture dialog when asked and adds its own buttons below.
ColumnLayout {
    id: form
    required property ProfileFormViewController controller
    signal pickPicture()
    spacing: 12

    Item {
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: 132
        Layout.preferredHeight: 132
        RemoteImage {
            objectName: "picturePreview"
            readonly property url pictureSource: source
            anchors.fill: parent
            source: form.controller.hasPicture ? form.controller.pictureUrl : ""
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
            onClicked: form.pickPicture()
        }
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Localizable.xibLocKey: form.controller.hasPicture ? "Change picture" : "Choose picture"
        font: Theme.caption
        color: Theme.textSecondary
    }

    SectionLabel { Localizable.xibLocKey: "About me" }
    FormField {
        objectName: "nameField"
        icon: "person"
        Localizable.xibPlaceholderLocKey: "Name"
        text: form.controller.name
        onTextEdited: form.controller.name = text
    }
    Segmented {
        objectName: "gender"
        options: [{ key: "Male", value: "male" }, { key: "Female", value: "female" }]
        value: form.controller.gender
        onChosen: value => form.controller.gender = value
    }
    FormField {
        objectName: "ageField"
        icon: "cake"
        Localizable.xibPlaceholderLocKey: "Age"
        inputMethodHints: Qt.ImhDigitsOnly
        validator: IntValidator { bottom: 0; top: 150 }
        text: form.controller.age
        onTextEdited: form.controller.age = text
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
        text: form.controller.aboutMe
        onTextChanged: if (text !== form.controller.aboutMe) form.controller.aboutMe = text
        background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
    }

    SectionLabel { Localizable.xibLocKey: "My dogs" }
    Segmented {
        objectName: "numberOfDogs"
        options: [{ key: "1", value: "0" }, { key: "2", value: "1" },
                  { key: "3", value: "2" }, { key: "Pack", value: "pack" }]
        value: form.controller.numberOfDogs
        onChosen: value => form.controller.numberOfDogs = value
    }
    FormField {
        objectName: "dogNameField"
        icon: "pets"
        Localizable.xibPlaceholderLocKey: "Dog's name"
        text: form.controller.dogName
        onTextEdited: form.controller.dogName = text
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
        text: form.controller.aboutDog
        onTextChanged: if (text !== form.controller.aboutDog) form.controller.aboutDog = text
        background: Rectangle { radius: Theme.radius; color: Theme.surface; border.color: Theme.outline }
    }

    SectionLabel { Localizable.xibLocKey: "Address" }
    FormField {
        objectName: "addressField"
        icon: "place"
        Localizable.xibPlaceholderLocKey: "Address"
        text: form.controller.address
        onTextEdited: form.controller.address = text
    }
}
