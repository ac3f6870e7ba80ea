import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise.UI

// The heading of a group of fields.
Label {
    Layout.fillWidth: true
    Layout.topMargin: 10
    font.pixelSize: 13
    font.weight: Font.DemiBold
    font.capitalization: Font.AllUppercase
    font.letterSpacing: 0.8
    color: Theme.textSecondary
    wrapMode: Text.WordWrap
}
