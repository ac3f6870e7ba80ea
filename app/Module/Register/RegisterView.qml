import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Registration: an e-mail address and a password typed twice.
Item {
    id: view
    required property RegisterViewController controller
    enabled: controller.userInteractionEnabled

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: true
        onBack: view.controller.CancelAction()
        ToolButton {
            objectName: "shareButton"
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            contentItem: Icon { name: "share"; color: Theme.primary }
            onClicked: view.controller.shareAction()
        }
    }

    Flickable {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: form.implicitHeight + 48
        boundsBehavior: Flickable.StopAtBounds

        ColumnLayout {
            id: form
            x: 24
            y: 16
            width: view.width - 48
            spacing: 14

            Label {
                Layout.fillWidth: true
                Localizable.xibLocKey: "Join the pack"
                font: Theme.headline
                color: Theme.text
            }
            FormField {
                objectName: "emailField"
                icon: "mail"
                Localizable.xibPlaceholderLocKey: "Email"
                inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
                text: view.controller.email
                onTextEdited: view.controller.email = text
            }
            PasswordInput {
                objectName: "passwordField"
                field: view.controller.password
                Localizable.xibPlaceholderLocKey: "Password"
            }
            PasswordInput {
                objectName: "confirmPasswordField"
                field: view.controller.confirmPassword
                Localizable.xibPlaceholderLocKey: "Confirm Password"
            }
            PrimaryButton {
                objectName: "registerButton"
                Layout.topMargin: 8
                iconName: "how_to_reg"
                Localizable.xibLocKey: "Register"
                onClicked: view.controller.registerAction()
            }
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: 4
                Label {
                    Localizable.xibLocKey: "Already registered?"
                    font: Theme.body
                    color: Theme.textSecondary
                }
                Button {
                    objectName: "signInButton"
                    flat: true
                    Localizable.xibLocKey: "Sign In"
                    font.weight: Font.DemiBold
                    Material.foreground: Theme.primary
                    onClicked: view.controller.signIn()
                }
            }
        }
    }
}
