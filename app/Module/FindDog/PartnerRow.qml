import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise.UI

// One dog owner in a list: picture with the presence dot, name and age, the dogs, the
// distance and the favourite mark.
ItemDelegate {
    id: row
    required property int index
    required property string userId
    required property string name
    required property string ageText
    required property string dogsText
    required property string distanceText
    required property string picture
    required property bool favourite
    required property bool online
    signal favouriteTapped()

    objectName: "partnerRow_" + userId
    height: 88
    padding: 0
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
            Layout.preferredWidth: 60
            Layout.preferredHeight: 60
            RemoteImage {
                anchors.fill: parent
                source: row.picture
            }
            Rectangle {
                objectName: "onlineDot"
                visible: row.online
                width: 16; height: 16; radius: 8
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                color: Theme.success
                border.color: Theme.surface
                border.width: 3
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3
            Label {
                Layout.fillWidth: true
                text: row.name
                font: Theme.headline
                color: Theme.text
                elide: Text.ElideRight
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 4
                visible: row.distanceText !== "" || row.ageText !== ""
                Icon { name: "place"; size: 15; color: Theme.textSecondary; visible: row.distanceText !== "" }
                Label {
                    Layout.fillWidth: true
                    text: [row.distanceText, row.ageText].filter(part => part !== "").join(" · ")
                    font: Theme.caption
                    color: Theme.textSecondary
                    elide: Text.ElideRight
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 4
                visible: row.dogsText !== ""
                Icon { name: "pets"; size: 15; color: Theme.primary }
                Label {
                    Layout.fillWidth: true
                    text: row.dogsText
                    font: Theme.caption
                    color: Theme.textSecondary
                    elide: Text.ElideRight
                }
            }
        }
        ToolButton {
            objectName: "favouriteButton"
            Layout.rightMargin: 4
            contentItem: Icon {
                name: row.favourite ? "favorite" : "favorite_border"
                color: row.favourite ? Theme.error : Theme.textSecondary
            }
            onClicked: row.favouriteTapped()
        }
    }
}
