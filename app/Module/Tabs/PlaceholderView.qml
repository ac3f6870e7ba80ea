import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// A section screen still to come: its title, an icon and what it will offer.
Item {
    id: view
    required property PlaceholderViewController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: parent.width - 64
        spacing: 14
        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            width: 104; height: 104; radius: 52
            color: Theme.surfaceVariant
            Icon { anchors.centerIn: parent; name: view.controller.icon; size: 52; color: Theme.primary }
        }
        Label {
            objectName: "placeholderTitle"
            Layout.fillWidth: true
            text: view.controller.title
            font: Theme.title
            color: Theme.text
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Label {
            Layout.fillWidth: true
            text: view.controller.detail
            font: Theme.body
            color: Theme.textSecondary
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            Localizable.xibLocKey: "Coming soon"
            font: Theme.caption
            color: Theme.primary
            padding: 6
            leftPadding: 14
            rightPadding: 14
            background: Rectangle { radius: 12; color: Theme.surfaceVariant }
        }
    }
}
