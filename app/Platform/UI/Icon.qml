import QtQuick
import Tailwise.UI

// A Material Design icon by its ligature name ("visibility", "pets", ...).
Text {
    property string name
    property int size: 24
    text: name
    font.family: Theme.iconFont
    font.pixelSize: size
    color: Theme.text
    horizontalAlignment: Text.AlignHCenter
    verticalAlignment: Text.AlignVCenter
}
