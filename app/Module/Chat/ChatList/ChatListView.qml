import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The conversations, newest first; an empty list says how one starts.
Item {
    id: view
    required property ChatListVC controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
    }

    ListView {
        id: rows
        objectName: "chatList"
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        clip: true
        model: view.controller.chats
        delegate: ChatListRow {
            width: ListView.view.width
            onClicked: view.controller.openChat(index)
        }
        ScrollIndicator.vertical: ScrollIndicator {}
    }

    ColumnLayout {
        objectName: "chatsEmpty"
        visible: rows.count === 0 && view.controller.loaded
        anchors.centerIn: rows
        width: parent.width - 64
        spacing: 12
        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            width: 96; height: 96; radius: 48
            color: Theme.surfaceVariant
            Icon {
                anchors.centerIn: parent
                name: view.controller.offline ? "cloud_off" : "forum"
                size: 48
                color: Theme.primary
            }
        }
        Label {
            Layout.fillWidth: true
            Localizable.xibLocKey: view.controller.offline ? "You are offline" : "No conversations yet"
            font: Theme.headline
            color: Theme.text
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
        Label {
            Layout.fillWidth: true
            Localizable.xibLocKey: view.controller.offline
                                   ? "Please check your internet connection"
                                   : "Open a dog owner from the search and say hello."
            font: Theme.body
            color: Theme.textSecondary
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
    }

    BusyIndicator {
        anchors.centerIn: rows
        running: !view.controller.loaded
        visible: running
    }
}
