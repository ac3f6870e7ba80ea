import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// A person as others see them: the large picture, name and age, a row of chips (presence,
// distance, gender: {icon, text, tint}, empty texts left out), their dogs and about text.
ColumnLayout {
    id: card
    property url pictureUrl
    property string name
    property string ageText
    property var chips: []
    property string dogName
    property string dogsText
    property string dogDescription
    property string about
    spacing: 14

    RemoteImage {
        objectName: "partnerPicture"
        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(width, 360)
        round: false
        source: card.pictureUrl
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 8
        Label {
            objectName: "partnerName"
            Layout.fillWidth: true
            text: card.name
            font: Theme.display
            color: Theme.text
            wrapMode: Text.Wrap
            maximumLineCount: 2
            elide: Text.ElideRight
        }
        Label {
            visible: text !== ""
            text: card.ageText
            font: Theme.title
            color: Theme.textSecondary
        }
    }

    Flow {
        Layout.fillWidth: true
        spacing: 8
        Repeater {
            model: card.chips
            Label {
                required property var modelData
                visible: modelData.text !== ""
                text: modelData.text
                font: Theme.caption
                color: Theme.text
                leftPadding: 30
                rightPadding: 12
                topPadding: 6
                bottomPadding: 6
                background: Rectangle { radius: 14; color: Theme.surfaceVariant }
                Icon {
                    x: 10
                    anchors.verticalCenter: parent.verticalCenter
                    name: modelData.icon
                    size: modelData.icon === "circle" ? 10 : 15
                    color: modelData.tint
                }
            }
        }
    }

    SectionLabel {
        visible: card.dogName !== "" || card.dogsText !== ""
        Localizable.xibLocKey: "My dogs"
    }
    RowLayout {
        visible: card.dogName !== "" || card.dogsText !== ""
        Layout.fillWidth: true
        spacing: 10
        Rectangle {
            width: 44; height: 44; radius: 22
            color: Theme.surfaceVariant
            Icon { anchors.centerIn: parent; name: "pets"; color: Theme.primary }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Label {
                Layout.fillWidth: true
                text: card.dogName
                font: Theme.headline
                color: Theme.text
                elide: Text.ElideRight
            }
            Label {
                text: card.dogsText
                font: Theme.caption
                color: Theme.textSecondary
            }
        }
    }
    Label {
        visible: text !== ""
        Layout.fillWidth: true
        text: card.dogDescription
        font: Theme.body
        color: Theme.text
        wrapMode: Text.Wrap
    }

    SectionLabel {
        visible: card.about !== ""
        Localizable.xibLocKey: "About me"
    }
    Label {
        visible: text !== ""
        Layout.fillWidth: true
        text: card.about
        font: Theme.body
        color: Theme.text
        wrapMode: Text.Wrap
    }
}
