import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Dog owners of a list screen, with its spinners and its empty state; pull down to look again.
Item {
    id: list
    required property PartnerListViewController controller

    ListView {
        id: rows
        objectName: "partnerList"
        anchors.fill: parent
        clip: true
        model: list.controller.partners
        cacheBuffer: 600
        boundsBehavior: Flickable.DragOverBounds
        delegate: PartnerRow {
            width: ListView.view.width
            onClicked: list.controller.openPartner(index)
            onFavouriteTapped: list.controller.toggleFavourite(index)
            Component.onCompleted: list.controller.partners.rowShown(index)
        }
        onAtYEndChanged: if (atYEnd && count > 0) list.controller.loadMore()
        // Pulled down past the top and let go: look again.
        onDragEnded: if (contentY < -72) list.controller.refresh()

        // Refreshing rows already shown: a spinner above them.
        header: Item {
            width: ListView.view.width
            height: list.controller.loading && rows.count > 0 ? 48 : 0
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
            height: list.controller.loadingMore ? 64 : 0
            BusyIndicator {
                anchors.centerIn: parent
                running: list.controller.loadingMore
                visible: running
                implicitWidth: 32
                implicitHeight: 32
            }
        }
        ScrollIndicator.vertical: ScrollIndicator {}
    }

    ColumnLayout {
        objectName: "partnersEmpty"
        visible: rows.count === 0 && list.controller.emptyTitle !== ""
        anchors.centerIn: parent
        width: parent.width - 64
        spacing: 12
        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            width: 96; height: 96; radius: 48
            color: Theme.surfaceVariant
            Icon { anchors.centerIn: parent; name: list.controller.emptyIcon; size: 48; color: Theme.primary }
        }
        Label {
            Layout.fillWidth: true
            text: list.controller.emptyTitle
            font: Theme.headline
            color: Theme.text
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Label {
            Layout.fillWidth: true
            text: list.controller.emptyDetail
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
            onClicked: list.controller.refresh()
        }
    }

    BusyIndicator {
        objectName: "partnersLoading"
        anchors.centerIn: parent
        running: list.controller.loading && rows.count === 0
        visible: running
    }
}
