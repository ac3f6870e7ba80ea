import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// A row of choices of which one is selected. `options` holds {key, value} pairs: the text's
// key in the string tables and the value it stands for.
RowLayout {
    id: control
    property var options: []
    property string value
    signal chosen(string value)
    spacing: 0
    Layout.fillWidth: true

    Repeater {
        model: control.options
        Button {
            required property var modelData
            required property int index
            objectName: control.objectName + "_" + modelData.value
            Layout.fillWidth: true
            // Equal shares, whatever the labels' lengths.
            Layout.preferredWidth: 1
            Layout.preferredHeight: 44
            checkable: true
            checked: control.value === modelData.value
            Localizable.xibLocKey: modelData.key
            font: Theme.body
            onClicked: control.chosen(modelData.value)
            contentItem: Label {
                text: parent.text
                font: parent.font
                color: parent.checked ? Theme.textOnPrimary : Theme.text
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                elide: Text.ElideRight
            }
            background: Rectangle {
                color: parent.checked ? Theme.primary : Theme.surface
                border.color: parent.checked ? Theme.primary : Theme.outline
                radius: 10
            }
        }
    }
}
