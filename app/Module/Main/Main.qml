import QtQuick
import QtQuick.Controls
import QtQuick.Controls.Material
import QtQuick.Layouts

// First screen until the sign-in screens arrive: the app's name and the backend it uses.
ApplicationWindow {
    id: window
    width: 390
    height: 844
    visible: true
    title: "Tailwise"
    Material.theme: Material.Light
    Material.primary: "#8B5E3C"
    Material.accent: "#E08A3C"

    ColumnLayout {
        anchors.centerIn: parent
        width: parent.width - 48
        spacing: 16

        Label {
            objectName: "appName"
            text: "Tailwise"
            font.pixelSize: 40
            font.bold: true
            color: Material.primary
            Layout.alignment: Qt.AlignHCenter
        }
        Label {
            text: "Finde Hundefreunde in deiner Nähe"
            font.pixelSize: 18
            wrapMode: Text.WordWrap
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
        Label {
            objectName: "backendLabel"
            text: typeof backendUrl === "string" ? backendUrl : ""
            opacity: 0.6
            font.pixelSize: 12
            Layout.alignment: Qt.AlignHCenter
        }
    }
}
