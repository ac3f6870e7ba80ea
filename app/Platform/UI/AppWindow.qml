import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import Tailwise
import Tailwise.UI

// The app's one window, phone-sized: the root screen, then the alert, the progress indicator
// and the notification banner above it.
ApplicationWindow {
    id: root
    required property Window appWindow
    required property NotificationBanner banner

    width: 390
    height: 844
    minimumWidth: 320
    minimumHeight: 560
    visible: true
    title: "Tailwise"
    color: Theme.background
    Material.theme: Material.Light
    Material.primary: Theme.primary
    Material.accent: Theme.primary
    Material.background: Theme.background
    Material.foreground: Theme.text

    ControllerView {
        objectName: "rootView"
        anchors.fill: parent
        controller: root.appWindow.rootViewController
    }

    AlertDialog {
        parent: Overlay.overlay
        alert: root.appWindow.alert
    }

    // The progress indicator takes every touch while it is up.
    Rectangle {
        objectName: "progressHUD"
        anchors.fill: parent
        visible: root.appWindow.hudVisible
        color: Theme.scrim
        z: 100
        MouseArea { anchors.fill: parent; hoverEnabled: true; preventStealing: true }
        Rectangle {
            anchors.centerIn: parent
            width: 96; height: 96; radius: 20
            color: Theme.surface
            BusyIndicator {
                anchors.centerIn: parent
                running: root.appWindow.hudVisible
            }
        }
    }

    NotificationBannerView {
        parent: Overlay.overlay
        banner: root.banner
        z: 200
    }
}
