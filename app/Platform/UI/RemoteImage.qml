import QtQuick
import Tailwise.UI

// A picture from the network, a file or the resources, cut round or with the theme's corners;
// the app's placeholder shows while it loads, when it fails and when there is none.
Item {
    id: root
    property url source
    property bool round: true
    property int cornerRadius: Theme.radius
    readonly property bool loaded: picture.status === Image.Ready
    readonly property string shape: round ? "round" : "rounded-" + cornerRadius
    implicitWidth: 56
    implicitHeight: 56

    function address(url) {
        return "image://picture/" + shape + "/" + encodeURIComponent(String(url))
    }

    Image {
        id: placeholder
        anchors.fill: parent
        visible: !root.loaded
        source: width > 0 && height > 0 ? root.address("qrc:/images/placeholder.svg") : ""
        sourceSize.width: Math.ceil(width)
        sourceSize.height: Math.ceil(height)
    }
    Image {
        id: picture
        anchors.fill: parent
        asynchronous: true
        source: String(root.source) !== "" && width > 0 && height > 0 ? root.address(root.source) : ""
        sourceSize.width: Math.ceil(width)
        sourceSize.height: Math.ceil(height)
    }
}
