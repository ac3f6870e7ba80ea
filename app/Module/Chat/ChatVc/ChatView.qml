import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// One conversation: the partner above, the messages (own on the right), the input below.
Item {
    id: view
    required property ChatViewController controller

    ToolBar {
        id: header
        width: parent.width
        height: 64
        background: Rectangle {
            color: Theme.background
            Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.outline }
        }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 4
            anchors.rightMargin: 56 // the tab screen's share button
            spacing: 10
            ToolButton {
                objectName: "backButton"
                contentItem: Icon { name: "arrow_back"; color: Theme.primary }
                onClicked: view.controller.close()
            }
            Item {
                Layout.preferredWidth: 40
                Layout.preferredHeight: 40
                RemoteImage { anchors.fill: parent; source: view.controller.pictureUrl }
                Rectangle {
                    visible: view.controller.partnerOnline
                    width: 12; height: 12; radius: 6
                    anchors.right: parent.right
                    anchors.bottom: parent.bottom
                    color: Theme.success
                    border.color: Theme.background
                    border.width: 2
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 6
                    // The name as long as it is; shorter, with an ellipsis, only when the
                    // row has no more room. What is left over stays after the mark.
                    Label {
                        objectName: "chatPartnerName"
                        Layout.fillWidth: true
                        Layout.maximumWidth: implicitWidth
                        text: view.controller.partnerName
                        font: Theme.headline
                        color: Theme.text
                        elide: Text.ElideRight
                    }
                    Image {
                        visible: view.controller.isFavourite
                        source: "qrc:/images/icon_check.svg"
                        sourceSize.width: 16
                        sourceSize.height: 16
                    }
                }
                Label {
                    objectName: "chatPresence"
                    Layout.fillWidth: true
                    visible: text !== ""
                    text: view.controller.partnerDeactivated
                          ? view.controller.deactivatedText
                          : [view.controller.presenceText, view.controller.headerDetails]
                                .filter(part => part !== "").join(" · ")
                    font: Theme.caption
                    color: view.controller.partnerOnline ? Theme.success : Theme.textSecondary
                    elide: Text.ElideRight
                }
            }
        }
    }

    ListView {
        id: list
        objectName: "messageList"
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: inputBar.top
        clip: true
        spacing: 6
        topMargin: 12
        bottomMargin: 12
        model: view.controller.messages
        delegate: Item {
            id: bubbleRow
            required property string text
            required property bool mine
            required property string timeText
            width: ListView.view.width
            height: bubble.height
            Rectangle {
                id: bubble
                anchors.right: bubbleRow.mine ? parent.right : undefined
                anchors.left: bubbleRow.mine ? undefined : parent.left
                anchors.rightMargin: Theme.spacing
                anchors.leftMargin: Theme.spacing
                width: Math.min(bubbleRow.width * 0.78, Math.max(body.implicitWidth, time.implicitWidth) + 28)
                height: body.implicitHeight + time.implicitHeight + 18
                radius: 18
                color: bubbleRow.mine ? Theme.primary : Theme.surface
                border.color: bubbleRow.mine ? Theme.primary : Theme.outline
                Label {
                    id: body
                    x: 14
                    y: 8
                    width: parent.width - 28
                    text: bubbleRow.text
                    wrapMode: Text.Wrap
                    font: Theme.body
                    color: bubbleRow.mine ? Theme.textOnPrimary : Theme.text
                }
                Label {
                    id: time
                    anchors.right: parent.right
                    anchors.rightMargin: 14
                    anchors.top: body.bottom
                    anchors.topMargin: 2
                    text: bubbleRow.timeText
                    font.pixelSize: 11
                    color: bubbleRow.mine ? "#E6FFFFFF" : Theme.textSecondary
                }
            }
        }
        Connections {
            target: view.controller
            function onScrollToLastRow() { Qt.callLater(list.positionViewAtEnd) }
        }
        Component.onCompleted: positionViewAtEnd()
        ScrollIndicator.vertical: ScrollIndicator {}
    }

    Label {
        visible: list.count === 0
        anchors.centerIn: list
        width: parent.width - 64
        Localizable.xibLocKey: "Say hello!"
        font: Theme.body
        color: Theme.textSecondary
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.WordWrap
    }

    Rectangle {
        id: inputBar
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: input.implicitHeight + 2 * Theme.smallSpacing + 8
        color: Theme.background
        Rectangle { width: parent.width; height: 1; color: Theme.outline }
        RowLayout {
            anchors.fill: parent
            anchors.margins: Theme.smallSpacing
            anchors.leftMargin: Theme.spacing
            spacing: 8
            TextField {
                id: input
                objectName: "messageField"
                Layout.fillWidth: true
                Localizable.xibPlaceholderLocKey: "Write a message"
                enabled: !view.controller.partnerDeactivated
                font: Theme.body
                onAccepted: send.clicked()
            }
            RoundButton {
                id: send
                objectName: "sendButton"
                Layout.preferredWidth: 48
                Layout.preferredHeight: 48
                enabled: input.text.trim() !== "" && !view.controller.partnerDeactivated
                highlighted: true
                Material.accent: Theme.primary
                contentItem: Icon { name: "send"; color: Theme.textOnPrimary; size: 22 }
                onClicked: if (view.controller.sendMessageAction(input.text)) input.clear()
            }
        }
    }
}
