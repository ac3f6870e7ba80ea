import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The old password and the new one twice.
Item {
    id: view
    required property ChangePasswordViewController controller
    enabled: controller.userInteractionEnabled

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    ColumnLayout {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 24
        spacing: 12
        PasswordInput {
            objectName: "oldPasswordField"
            field: view.controller.oldPassword
            Localizable.xibPlaceholderLocKey: "Old Password"
        }
        PasswordInput {
            objectName: "newPasswordField"
            field: view.controller.newPassword
            Localizable.xibPlaceholderLocKey: "New Password"
        }
        PasswordInput {
            objectName: "confirmPasswordField"
            field: view.controller.confirmPassword
            Localizable.xibPlaceholderLocKey: "Confirm Password"
        }
        PrimaryButton {
            objectName: "changePasswordButton"
            Layout.topMargin: 8
            iconName: "lock_reset"
            Localizable.xibLocKey: "Change Password"
            onClicked: view.controller.save()
        }
    }
}
