import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// The tab screen: the section on display above a row of six buttons, the offline notice and
// the share panel.
Item {
    id: view
    required property TabsController controller

    readonly property var tabs: [
        { key: "Search", icon: "travel_explore", action: "openSearchVC" },
        { key: "Favourites", icon: "favorite", action: "openFavouriteVC" },
        { key: "Chats", icon: "forum", action: "openChatVC" },
        { key: "Information", icon: "info", action: "openInfo" },
        { key: "Profile", icon: "person", action: "openProfile" },
        { key: "Settings", icon: "settings", action: "openSettings" }
    ]

    Pane {
        id: offlineNotice
        objectName: "offlineNotice"
        visible: view.controller.offline
        width: parent.width
        height: visible ? implicitHeight : 0
        padding: 10
        background: Rectangle { color: Theme.error }
        RowLayout {
            width: parent.width
            Icon { name: "wifi_off"; color: Theme.textOnPrimary; size: 20 }
            Label {
                Layout.fillWidth: true
                Localizable.xibLocKey: "Please check your internet connection"
                color: Theme.textOnPrimary
                font: Theme.caption
                wrapMode: Text.WordWrap
            }
        }
    }

    ControllerView {
        objectName: "sectionView"
        anchors.top: offlineNotice.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: tabRow.visible ? tabRow.top : parent.bottom
        clip: true
        controller: view.controller.section
    }

    ToolButton {
        objectName: "shareButton"
        anchors.top: offlineNotice.bottom
        anchors.right: parent.right
        anchors.margins: 6
        contentItem: Icon { name: "share"; color: Theme.primary }
        onClicked: view.controller.shareAction()
    }

    Rectangle {
        id: tabRow
        objectName: "tabRow"
        visible: !view.controller.contentIncreased
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: Theme.tabBarHeight
        color: Theme.surface
        Rectangle { width: parent.width; height: 1; color: Theme.outline }

        RowLayout {
            anchors.fill: parent
            spacing: 0
            Repeater {
                model: view.tabs
                AbstractButton {
                    id: tabButton
                    required property var modelData
                    required property int index
                    readonly property bool highlighted: view.controller.selectedIndex === index
                    objectName: "tab" + index
                    Layout.fillWidth: true
                    // Six equal shares, whatever the labels' lengths.
                    Layout.preferredWidth: 1
                    Layout.fillHeight: true
                    Localizable.xibLocKey: modelData.key
                    onClicked: view.controller[modelData.action](index)
                    contentItem: ColumnLayout {
                        spacing: 2
                        Rectangle {
                            Layout.alignment: Qt.AlignHCenter
                            width: 48; height: 28; radius: 14
                            color: tabButton.highlighted ? "#E5F0FF" : "transparent"
                            Icon {
                                anchors.centerIn: parent
                                name: modelData.icon
                                size: 22
                                color: tabButton.highlighted ? Theme.highlight : Theme.textSecondary
                            }
                        }
                        Label {
                            Layout.alignment: Qt.AlignHCenter
                            Layout.preferredWidth: tabButton.width - 4
                            horizontalAlignment: Text.AlignHCenter
                            text: tabButton.text
                            font.pixelSize: 11
                            fontSizeMode: Text.HorizontalFit
                            minimumPixelSize: 8
                            font.weight: tabButton.highlighted ? Font.DemiBold : Font.Normal
                            color: tabButton.highlighted ? Theme.highlight : Theme.textSecondary
                            // Fitted, never cut: a shortened tab name reads as a different word.
                            elide: Text.ElideNone
                        }
                    }
                }
            }
        }
    }

    // The share panel slides up over the tabs.
    Rectangle {
        anchors.fill: parent
        color: Theme.scrim
        visible: view.controller.sharePanelVisible
        MouseArea { anchors.fill: parent; onClicked: view.controller.shareCancelction() }
    }
    Pane {
        objectName: "sharePanel"
        visible: view.controller.sharePanelVisible
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        padding: 24
        background: Rectangle { color: Theme.surface; radius: 20 }
        ColumnLayout {
            width: parent.width
            spacing: 12
            Label {
                Localizable.xibLocKey: "Share Tailwise"
                font: Theme.headline
                color: Theme.text
            }
            Label {
                objectName: "shareText"
                Layout.fillWidth: true
                text: view.controller.shareText
                font: Theme.caption
                color: Theme.textSecondary
                wrapMode: Text.WrapAnywhere
            }
            PrimaryButton {
                objectName: "copyShareLinkButton"
                iconName: "content_copy"
                Localizable.xibLocKey: "Copy link"
                onClicked: view.controller.copyShareLink()
            }
            PrimaryButton {
                objectName: "shareCancelButton"
                outlined: true
                Localizable.xibLocKey: "Cancel"
                onClicked: view.controller.shareCancelction()
            }
        }
    }
}
