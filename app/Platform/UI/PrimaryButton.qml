import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise.UI

// The main action of a screen.
Button {
    id: button
    property bool outlined: false
    property string iconName
    Layout.fillWidth: true
    Layout.preferredHeight: Theme.controlHeight
    font: Theme.headline
    contentItem: Item {
        implicitWidth: row.implicitWidth
        implicitHeight: row.implicitHeight
        Row {
        id: row
        spacing: 10
        anchors.centerIn: parent
        Icon {
            visible: button.iconName !== ""
            name: button.iconName
            size: 22
            color: button.outlined ? Theme.primary : Theme.textOnPrimary
            anchors.verticalCenter: parent.verticalCenter
        }
        Label {
            text: button.text
            font: button.font
            color: button.outlined ? Theme.primary : Theme.textOnPrimary
            anchors.verticalCenter: parent.verticalCenter
        }
        }
    }
    background: Rectangle {
        radius: Theme.radius
        color: button.outlined ? "transparent"
                               : (button.down ? Theme.primaryDark : Theme.primary)
        border.width: button.outlined ? 2 : 0
        border.color: Theme.primary
        opacity: button.enabled ? 1 : 0.5
    }
}
