import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The landing screen: who we are, the ways to sign in, registration, the language switch and
// the legal pages.
Item {
    id: view
    required property MainViewController controller
    enabled: controller.userInteractionEnabled

    Flickable {
        anchors.fill: parent
        contentHeight: content.implicitHeight + 48
        boundsBehavior: Flickable.StopAtBounds

        ColumnLayout {
            id: content
            x: 28
            y: 24
            width: view.width - 56
            spacing: 14

            Rectangle {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: Math.max(8, view.height * 0.05)
                width: 112; height: 112; radius: 56
                color: Theme.surfaceVariant
                Icon { anchors.centerIn: parent; name: "pets"; size: 60; color: Theme.primary }
            }
            Label {
                objectName: "appName"
                Layout.alignment: Qt.AlignHCenter
                text: "Tailwise"
                font: Theme.display
                color: Theme.primary
            }
            Label {
                Layout.fillWidth: true
                Layout.bottomMargin: 18
                Localizable.xibLocKey: "Find dog friends near you"
                font: Theme.body
                color: Theme.textSecondary
                wrapMode: Text.WordWrap
                horizontalAlignment: Text.AlignHCenter
            }
            PrimaryButton {
                objectName: "emailLoginButton"
                iconName: "mail"
                Localizable.xibLocKey: "Email Login"
                onClicked: view.controller.loginWithEmail()
            }
            PrimaryButton {
                objectName: "gmailLoginButton"
                outlined: true
                iconName: "account_circle"
                Localizable.xibLocKey: "Gmail Login"
                onClicked: view.controller.loginWithGoogle()
            }
            PrimaryButton {
                objectName: "fbLoginButton"
                outlined: true
                iconName: "facebook"
                Localizable.xibLocKey: "FB Login"
                onClicked: view.controller.loginWithFacebook()
            }
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: 4
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
            Rectangle { Layout.fillWidth: true; height: 1; color: Theme.outline }
            RowLayout {
                Layout.fillWidth: true
                Icon { name: "translate"; color: Theme.textSecondary }
                Label {
                    Layout.fillWidth: true
                    Localizable.xibLocKey: "Switch to English"
                    font: Theme.body
                    color: Theme.text
                    wrapMode: Text.WordWrap
                }
                ToggleSwitch {
                    objectName: "languageSwitch"
                    checked: view.controller.languageSwitchOn
                    onToggled: view.controller.didTapLanguageChange(checked)
                }
            }
            Label {
                Layout.fillWidth: true
                Layout.topMargin: 8
                Localizable.xibLocKey: "Terms and policies"
                font: Theme.caption
                color: Theme.textSecondary
                horizontalAlignment: Text.AlignHCenter
            }
            Row {
                Layout.alignment: Qt.AlignHCenter
                spacing: 4
                Label {
                    objectName: "termsLink"
                    Localizable.xibLocKey: "Terms of Use"
                    font.pixelSize: Theme.caption.pixelSize
                    font.underline: true
                    color: Theme.primary
                    TapHandler { onTapped: view.controller.termsAction() }
                }
                Label {
                    Localizable.xibLocKey: "and"
                    font: Theme.caption
                    color: Theme.textSecondary
                }
                Label {
                    objectName: "privacyLink"
                    Localizable.xibLocKey: "Privacy Policy"
                    font.pixelSize: Theme.caption.pixelSize
                    font.underline: true
                    color: Theme.primary
                    TapHandler { onTapped: view.controller.privacyAction() }
                }
            }
        }
    }
}
