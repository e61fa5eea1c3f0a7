pragma Singleton
import QtQuick

QtObject {
    readonly property color background: "#0b1020"
    readonly property color panel: "#121a2e"
    readonly property color panelRaised: "#18223a"
    readonly property color border: "#26314d"
    readonly property color text: "#eef2ff"
    readonly property color secondaryText: "#9aa6c4"
    readonly property color tertiaryText: "#66728f"
    readonly property color accent: "#60a5fa"
    readonly property color accentStrong: "#3b82f6"
    readonly property color success: "#34d399"
    readonly property color warning: "#fbbf24"
    readonly property color danger: "#f43f5e"
    readonly property string fontFamily: "Noto Sans CJK SC"
    readonly property int radius: 14
}
