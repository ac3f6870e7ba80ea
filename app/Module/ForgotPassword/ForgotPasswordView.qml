import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Asks for a new password by e-mail.
Item {
    id: view
    required property ForgotPasswordViewController controller
    enabled: controller.userInteractionEnabled

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: true
        onBack: view.controller.back()
    }

    ColumnLayout {
        anchors.top: header.bottom
        anchors.topMargin: 16
        x: 24
        width: view.width - 48
        spacing: 14

        Icon {
            Layout.alignment: Qt.AlignHCenter
            name: "mark_email_read"
            size: 56
            color: Theme.primary
        }
        Label {
            Layout.fillWidth: true
            Localizable.xibLocKey: "Enter the e-mail address of your account. We will send you a new password."
            font: Theme.body
            color: Theme.textSecondary
            wrapMode: Text.WordWrap
            horizontalAlignment: Text.AlignHCenter
        }
        FormField {
            objectName: "emailField"
            icon: "mail"
            Localizable.xibPlaceholderLocKey: "Email"
            inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
            text: view.controller.email
            onTextEdited: view.controller.email = text
            onAccepted: view.controller.forgot()
        }
        PrimaryButton {
            objectName: "sendButton"
            iconName: "send"
            Localizable.xibLocKey: "Send"
            onClicked: view.controller.forgot()
        }
    }
}
