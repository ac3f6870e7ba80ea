import QtQuick
import QtQuick.Controls
import Tailwise
import Tailwise.UI

// A password field with the eye that shows or hides what was typed.
FormField {
    id: input
    required property PasswordField field
    icon: "lock"
    rightPadding: 52
    echoMode: field.secureTextEntry ? TextInput.Password : TextInput.Normal
    onTextEdited: field.text = text
    Connections {
        target: input.field
        function onChanged() {
            if (input.text !== input.field.text)
                input.text = input.field.text
        }
    }
    ToolButton {
        objectName: input.objectName + "Eye"
        visible: input.field.eyeVisible
        anchors.right: parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        icon.source: "qrc:/images/" + input.field.eyeImage + ".svg"
        icon.color: Theme.textSecondary
        onClicked: input.field.showPassword()
    }
}
