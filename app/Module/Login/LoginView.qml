import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// E-mail sign-in. While the screen is locked after repeated failures it takes no touches and
// counts the seconds down.
Item {
    id: view
    required property LoginViewController controller
    enabled: controller.userInteractionEnabled

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: true
        onBack: view.controller.back()
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
                Localizable.xibLocKey: "Welcome back"
                font: Theme.headline
                color: Theme.text
            }
            Pane {
                objectName: "lockNotice"
                visible: view.controller.lockSecondsRemaining > 0
                Layout.fillWidth: true
                padding: 12
                background: Rectangle { radius: Theme.radius; color: "#FDECEA" }
                RowLayout {
                    width: parent.width
                    Icon { name: "lock_clock"; color: Theme.error }
                    Label {
                        objectName: "lockText"
                        Layout.fillWidth: true
                        text: view.controller.lockText
                        color: Theme.error
                        font: Theme.body
                        wrapMode: Text.WordWrap
                    }
                }
            }
            FormField {
                objectName: "emailField"
                icon: "mail"
                Localizable.xibPlaceholderLocKey: "Email"
                inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
                text: view.controller.email
                onTextEdited: view.controller.email = text
                onAccepted: focus = false
            }
            PasswordInput {
                id: passwordField
                objectName: "passwordField"
                field: view.controller.password
                Localizable.xibPlaceholderLocKey: "Password"
                onAccepted: focus = false
            }
            Label {
                objectName: "forgotPasswordLink"
                Layout.alignment: Qt.AlignRight
                Localizable.xibLocKey: "Press here if you forgot your password"
                font: Theme.caption
                color: Theme.primary
                TapHandler { onTapped: view.controller.forgotPasswordAction() }
            }
            PrimaryButton {
                objectName: "signInButton"
                Layout.topMargin: 8
                iconName: "login"
                Localizable.xibLocKey: "Sign In"
                onClicked: view.controller.loginwithEmail()
            }
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: 4
                Label {
                    Localizable.xibLocKey: "Not Registered"
                    font: Theme.body
                    color: Theme.textSecondary
                }
                Button {
                    objectName: "registerButton"
                    flat: true
                    Localizable.xibLocKey: "Register"
                    font.weight: Font.DemiBold
                    Material.foreground: Theme.primary
                    onClicked: view.controller.registerHereAction()
                }
            }
        }
    }
}
