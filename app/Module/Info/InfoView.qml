import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tailwise
import Tailwise.UI

// About Tailwise, in the language on display, with help, the legal pages and sharing.
Item {
    id: view
    required property ImfoViewController controller

    ScreenHeader {
        id: header
        width: parent.width
        title: view.controller.title
    }

    Flickable {
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        contentHeight: body.implicitHeight + 2 * Theme.spacing
        clip: true
        ScrollIndicator.vertical: ScrollIndicator {}
        ColumnLayout {
            id: body
            x: Theme.spacing
            y: Theme.spacing
            width: parent.width - 2 * Theme.spacing
            spacing: 8
            Rectangle {
                Layout.alignment: Qt.AlignHCenter
                width: 88; height: 88; radius: 44
                color: Theme.surfaceVariant
                Icon { anchors.centerIn: parent; name: "pets"; size: 44; color: Theme.primary }
            }
            Repeater {
                model: view.controller.sectionKeys
                Label {
                    required property string modelData
                    required property int index
                    Layout.fillWidth: true
                    Layout.topMargin: index % 2 === 0 ? 16 : 0
                    Localizable.xibLocKey: modelData
                    font: index % 2 === 0 ? Theme.headline : Theme.body
                    color: index % 2 === 0 ? Theme.text : Theme.textSecondary
                    wrapMode: Text.WordWrap
                }
            }
            PrimaryButton {
                objectName: "helpButton"
                Layout.topMargin: 24
                iconName: "help_outline"
                Localizable.xibLocKey: "Help"
                onClicked: view.controller.openHelp()
            }
            PrimaryButton {
                objectName: "shareScreenButton"
                outlined: true
                iconName: "share"
                Localizable.xibLocKey: "Share Tailwise"
                onClicked: view.controller.share()
            }
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: 8
                spacing: 16
                Button {
                    flat: true
                    Localizable.xibLocKey: "Terms of Use"
                    onClicked: view.controller.openTerms()
                }
                Button {
                    flat: true
                    Localizable.xibLocKey: "Privacy Policy"
                    onClicked: view.controller.openPrivacy()
                }
            }
        }
    }
}
