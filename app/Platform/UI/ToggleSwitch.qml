import QtQuick
import QtQuick.Controls
import Tailwise.UI

// An on/off switch drawn in the app's colours.
Switch {
    id: control
    indicator: Rectangle {
        implicitWidth: 50
        implicitHeight: 30
        x: control.width - width - control.rightPadding
        y: (control.height - height) / 2
        radius: height / 2
        color: control.checked ? Theme.primary : Theme.outline
        Behavior on color { ColorAnimation { duration: 120 } }
        Rectangle {
            width: 24
            height: 24
            radius: 12
            y: 3
            x: control.checked ? parent.width - width - 3 : 3
            color: Theme.surface
            border.color: Qt.darker(Theme.outline, 1.1)
            Behavior on x { NumberAnimation { duration: 120 } }
        }
    }
}
