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

    ListView {
        id: list
        objectName: "partnerList"
        anchors.top: filter.bottom
        anchors.topMargin: Theme.smallSpacing
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        clip: true
        model: view.controller.partners
        cacheBuffer: 600
        boundsBehavior: Flickable.DragOverBounds
        delegate: PartnerRow {
            width: ListView.view.width
            onClicked: view.controller.openPartner(index)
            onFavouriteTapped: view.controller.toggleFavourite(index)
            Component.onCompleted: view.controller.partners.rowShown(index)
        }
        onAtYEndChanged: if (atYEnd && count > 0) view.controller.loadMore()
        // Pulled down past the top and let go: look again.
        onDragEnded: if (contentY < -72) view.controller.refresh()

        // Refreshing rows already shown: a spinner above them.
        header: Item {
            width: ListView.view.width
            height: view.controller.loading && list.count > 0 ? 48 : 0
            BusyIndicator {
                anchors.centerIn: parent
                running: parent.height > 0
                visible: running
                implicitWidth: 32
                implicitHeight: 32
            }
        }
        footer: Item {
            width: ListView.view.width
            height: view.controller.loadingMore ? 64 : 0
            BusyIndicator {
                anchors.centerIn: parent
                running: view.controller.loadingMore
                visible: running
                implicitWidth: 32
                implicitHeight: 32
            }
        }
        ScrollIndicator.vertical: ScrollIndicator {}
    }

    ColumnLayout {
        objectName: "partnersEmpty"
        visible: list.count === 0 && view.controller.emptyTitle !== ""
        anchors.centerIn: list
        width: parent.width - 64
        spacing: 12
        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            width: 96; height: 96; radius: 48
            color: Theme.surfaceVariant
            Icon { anchors.centerIn: parent; name: view.controller.emptyIcon; size: 48; color: Theme.primary }
        }
        Label {
            Layout.fillWidth: true
            text: view.controller.emptyTitle
            font: Theme.headline
            color: Theme.text
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Label {
            Layout.fillWidth: true
            text: view.controller.emptyDetail
            font: Theme.body
            color: Theme.textSecondary
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Button {
            objectName: "retryButton"
            Layout.alignment: Qt.AlignHCenter
            flat: true
            Localizable.xibLocKey: "Try again"
            font: Theme.body
            Material.foreground: Theme.primary
            onClicked: view.controller.refresh()
        }
    }

    BusyIndicator {
        objectName: "partnersLoading"
        anchors.centerIn: list
        running: view.controller.loading && list.count === 0
        visible: running
    }
}
