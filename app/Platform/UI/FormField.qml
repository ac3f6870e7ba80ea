import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise.UI

// A labelled text field with a leading icon, as every form of the app shows it.
TextField {
    id: field
    property string icon
    leftPadding: icon ? 48 : 16
    rightPadding: 16
    font: Theme.body
    color: Theme.text
    placeholderTextColor: Theme.textSecondary
    selectByMouse: true
    Layout.fillWidth: true
    Layout.preferredHeight: Theme.controlHeight
    background: Rectangle {
        radius: Theme.radius
        color: Theme.surface
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.primary : Theme.outline
    }
    Icon {
        visible: field.icon !== ""
        name: field.icon
        color: field.activeFocus ? Theme.primary : Theme.textSecondary
        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.verticalCenter: parent.verticalCenter
    }
}
