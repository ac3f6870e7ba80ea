import QtQuick
import Qt5Compat.GraphicalEffects
import Tailwise.UI

// A picture from the network (or a local file), cropped to fill, round or with the theme's
// corners. The app's placeholder shows while it loads, when it fails and when there is none.
Item {
    id: root
    property url source
    property bool round: true
    property real cornerRadius: Theme.radius
    readonly property bool loaded: picture.status === Image.Ready
    implicitWidth: 56
    implicitHeight: 56

    Image {
        id: picture
        anchors.fill: parent
        source: root.source
        fillMode: Image.PreserveAspectCrop
        asynchronous: true
        // Decoded at the size shown (twice, for dense screens), not at the upload's size.
        sourceSize.width: Math.max(1, Math.ceil(root.width * 2))
        sourceSize.height: Math.max(1, Math.ceil(root.height * 2))
        visible: false
    }
    Image {
        id: placeholder
        anchors.fill: parent
        source: "qrc:/images/placeholder.svg"
        fillMode: Image.PreserveAspectCrop
        sourceSize.width: Math.max(1, Math.ceil(root.width * 2))
        sourceSize.height: Math.max(1, Math.ceil(root.height * 2))
        visible: false
    }
    Rectangle {
        id: shape
        anchors.fill: parent
        radius: root.round ? width / 2 : root.cornerRadius
        visible: false
    }
    OpacityMask {
        anchors.fill: parent
        source: root.loaded ? picture : placeholder
        maskSource: shape
    }
}
