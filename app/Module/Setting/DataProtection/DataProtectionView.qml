import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// Who may see the picture and the last visit: three choices each, written at once.
Item {
    id: view
    required property DataProtectionController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
        canGoBack: view.controller.navigationController !== null
                   && view.controller.navigationController.depth > 1
        onBack: view.controller.navigationController.popViewController(true)
    }

    component ChoiceGroup: ColumnLayout {
        id: group
        property string questionKey
        // The buttons' names, in the order anybody, nobody, only favourites.
        property var buttonNames: []
        property int selected: -1
        signal tapped(int choice)
        Layout.fillWidth: true
        spacing: 0
        SectionLabel { Layout.bottomMargin: 6; Localizable.xibLocKey: group.questionKey }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: choices.implicitHeight
            radius: Theme.radius
            color: Theme.surface
            border.color: Theme.outline
            clip: true
            Column {
                id: choices
                width: parent.width
                Repeater {
                    model: [{ key: "Anybody", icon: "public" },
                            { key: "Nobody", icon: "block" },
                            { key: "Only Favourite", icon: "favorite" }]
                    ItemDelegate {
                        id: choice
                        required property var modelData
                        required property int index
                        objectName: group.buttonNames[index] || ""
                        width: choices.width
                        height: 56
                        background: Rectangle {
                            color: choice.pressed ? Theme.surfaceVariant : "transparent"
                            Rectangle { visible: choice.index > 0; width: parent.width; height: 1; color: Theme.outline }
                        }
                        onClicked: group.tapped(index)
                        contentItem: RowLayout {
                            spacing: 12
                            Icon { name: choice.modelData.icon; color: Theme.primary; size: 22 }
                            Label {
                                Layout.fillWidth: true
                                Localizable.xibLocKey: choice.modelData.key
                                font: Theme.body
                                color: Theme.text
                            }
                            Icon {
                                name: group.selected === choice.index ? "radio_button_checked"
                                                                      : "radio_button_unchecked"
                                color: group.selected === choice.index ? Theme.primary : Theme.textSecondary
                            }
                        }
                    }
                }
            }
        }
    }

    Flickable {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: groups.implicitHeight + 2 * Theme.spacing
        clip: true
        ColumnLayout {
            id: groups
            x: Theme.spacing
            y: Theme.spacing
            width: parent.width - 2 * Theme.spacing
            spacing: 28
            ChoiceGroup {
                questionKey: "Who can see my profile picture?"
                buttonNames: ["btnAnybody", "btnNobody", "btnFav"]
                selected: view.controller.imageChoice
                onTapped: (choice) => view.controller.tapImage(choice)
            }
            ChoiceGroup {
                questionKey: "Who can see when I was last online?"
                buttonNames: ["btnLastAny", "btnLastNo", "btnLastFav"]
                selected: view.controller.lastSeenChoice
                onTapped: (choice) => view.controller.tapLastSeen(choice)
            }
        }
    }
}
