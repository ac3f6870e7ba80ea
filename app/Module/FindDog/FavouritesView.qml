import QtQuick
import Tailwise
import Tailwise.UI

// The dog owners the user has marked; tap a heart to let one go.
Item {
    id: view
    required property FavouritesViewController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
    }

    PartnerList {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        controller: view.controller
    }
}
