import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise

// The system notification of a push that arrived while the app was not active: a card at the
// top of the window. Tapping it opens the push; the close button or a swipe up dismisses it.
Pane {
    id: root

    property NotificationBanner banner
    readonly property real restingY: 8

    objectName: "notificationBanner"
    visible: root.banner !== null && root.banner.shown
    width: parent ? parent.width - 16 : 374
    x: 8
    y: restingY
    padding: 12
    Material.elevation: 6

    // Under the content, so that the close button keeps its own clicks.
    MouseArea {
        objectName: "notificationBannerArea"
        anchors.fill: parent
        drag.target: root
        drag.axis: Drag.YAxis
        drag.maximumY: root.restingY
        onClicked: root.banner.tap()
        onReleased: {
            if (root.y < root.restingY - 24)
                root.banner.dismiss()
            root.y = root.restingY
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 12

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Label {
                objectName: "notificationBannerTitle"
                text: root.banner ? root.banner.title : ""
                font.bold: true
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
            Label {
                objectName: "notificationBannerBody"
                text: root.banner ? root.banner.body : ""
                wrapMode: Text.Wrap
                maximumLineCount: 3
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
        }
        ToolButton {
            objectName: "notificationBannerClose"
            text: "\u2715"
            onClicked: root.banner.dismiss()
        }
    }
}
