pragma Singleton
import QtQuick

// One palette and type scale for every screen.
QtObject {
    // Brand: a warm leather brown with a sunny accent; highlights in the app's signal blue.
    readonly property color primary: "#7A4E2D"
    readonly property color primaryDark: "#5C3920"
    readonly property color accent: "#F2A541"
    readonly property color highlight: "#007AFF"
    readonly property color background: "#FBF7F2"
    readonly property color surface: "#FFFFFF"
    readonly property color surfaceVariant: "#F3ECE4"
    readonly property color outline: "#E3E3E3"
    readonly property color text: "#2B2118"
    readonly property color textSecondary: "#6F6259"
    readonly property color textOnPrimary: "#FFFFFF"
    readonly property color error: "#C62828"
    readonly property color success: "#2E9E5B"
    readonly property color scrim: "#66000000"

    readonly property string iconFont: "Material Icons"

    readonly property int spacing: 16
    readonly property int smallSpacing: 8
    readonly property int radius: 14
    readonly property int controlHeight: 52
    readonly property int headerHeight: 56
    readonly property int tabBarHeight: 64

    readonly property font display: Qt.font({ pixelSize: 34, weight: Font.Bold })
    readonly property font title: Qt.font({ pixelSize: 22, weight: Font.DemiBold })
    readonly property font headline: Qt.font({ pixelSize: 18, weight: Font.DemiBold })
    readonly property font body: Qt.font({ pixelSize: 16 })
    readonly property font caption: Qt.font({ pixelSize: 13 })
}
