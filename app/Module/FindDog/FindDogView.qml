import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The partner search: the filter, then the dog owners nearest first; pull down to look again.
Item {
    id: view
    required property FindDogViewController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
    }

    Segmented {
        id: filter
        objectName: "partnerFilter"
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: Theme.spacing
        anchors.rightMargin: Theme.spacing
        spacing: Theme.smallSpacing
        options: [{ key: "All", value: "0" }, { key: "Male", value: "1" },
                  { key: "Female", value: "2" }]
        value: String(view.controller.filterIndex)
        onChosen: (value) => view.controller.filterIndex = Number(value)
    }

    PartnerList {
        anchors.top: filter.bottom
        anchors.topMargin: Theme.smallSpacing
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        controller: view.controller
    }
}
