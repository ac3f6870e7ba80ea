import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise.UI

// The bar at the top of a screen: a back button when there is somewhere to go back to, and
// the title.
ToolBar {
    id: header
    property string title
    property bool canGoBack: false
    signal back()

    height: Theme.headerHeight
    background: Rectangle { color: Theme.background }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: header.canGoBack ? 4 : Theme.spacing
        anchors.rightMargin: Theme.spacing
        spacing: 4
        ToolButton {
            objectName: "backButton"
            visible: header.canGoBack
            contentItem: Icon { name: "arrow_back"; color: Theme.primary }
            onClicked: header.back()
        }
        Label {
            Layout.fillWidth: true
            text: header.title
            font: Theme.title
            color: Theme.text
            elide: Text.ElideRight
        }
    }
}
