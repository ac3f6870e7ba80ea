import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// One conversation: picture with the presence dot, name, favourite check, age and distance,
// the last message, its time and the unread count.
ItemDelegate {
    id: row
    required property int index
    required property string userId
    required property string name
    required property string lastMessage
    required property string timeText
    required property int unread
    required property bool favourite
    required property string picture
    required property bool online
    required property string details
    required property bool deactivated

    objectName: "chatRow_" + userId
    height: 84
    padding: 0
    opacity: deactivated ? 0.55 : 1
    background: Rectangle {
        color: row.pressed ? Theme.surfaceVariant : Theme.surface
        Rectangle {
            anchors.bottom: parent.bottom
            x: 88
            width: parent.width - x
            height: 1
            color: Theme.outline
        }
    }

    contentItem: RowLayout {
        spacing: 14
        Item {
            Layout.leftMargin: Theme.spacing
            Layout.preferredWidth: 56
            Layout.preferredHeight: 56
            RemoteImage {
                anchors.fill: parent
                source: row.picture
            }
            Rectangle {
                visible: row.online
                width: 15; height: 15; radius: 7.5
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                color: Theme.success
                border.color: Theme.surface
                border.width: 3
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.rightMargin: Theme.spacing
            spacing: 3
            RowLayout {
                Layout.fillWidth: true
                spacing: 6
                Label {
                    Layout.fillWidth: true
                    text: row.name !== "" ? row.name : " "
                    font: Theme.headline
                    color: Theme.text
                    elide: Text.ElideRight
                }
                Image {
                    visible: row.favourite
                    source: "qrc:/images/icon_check.svg"
                    sourceSize.width: 16
                    sourceSize.height: 16
                }
                Label {
                    text: row.timeText
                    font: Theme.caption
                    color: row.unread > 0 ? Theme.primary : Theme.textSecondary
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 8
                Label {
                    Layout.fillWidth: true
                    text: row.lastMessage
                    font: Theme.body
                    color: Theme.textSecondary
                    elide: Text.ElideRight
                    maximumLineCount: 1
                }
                Rectangle {
                    objectName: "unreadBadge"
                    visible: row.unread > 0
                    Layout.preferredHeight: 22
                    Layout.preferredWidth: Math.max(22, badge.implicitWidth + 12)
                    radius: 11
                    color: Theme.primary
                    Label {
                        id: badge
                        anchors.centerIn: parent
                        text: row.unread > 99 ? "99+" : String(row.unread)
                        font: Theme.caption
                        color: Theme.textOnPrimary
                    }
                }
            }
            Label {
                visible: text !== ""
                text: row.details
                font: Theme.caption
                color: Theme.textSecondary
            }
        }
    }
}
