import QtQuick
import QtQuick.Controls.Basic
import "."

// Variants: "primary", "secondary", "darkSecondary", "danger".
Button {
    id: control
    property string variant: "secondary"
    // For rows of a list: smaller type and less padding.
    property bool compact: false
    font.family: Theme.fontFamily
    font.pixelSize: compact ? 13 : 14
    font.weight: Font.DemiBold
    leftPadding: compact ? 12 : 20
    rightPadding: compact ? 12 : 20
    topPadding: compact ? 6 : 10
    bottomPadding: compact ? 6 : 10
    hoverEnabled: true
    opacity: enabled ? 1 : 0.45

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.variant === "primary" || control.variant === "danger" ? "white" : Theme.text
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitHeight: control.compact ? 32 : 40
        radius: 10
        color: {
            const pressed = control.down
            switch (control.variant) {
            case "primary": return pressed ? "#2563eb" : control.hovered ? "#4f8ff7" : Theme.accentStrong
            case "danger": return pressed ? "#be123c" : control.hovered ? "#fb5273" : Theme.danger
            case "darkSecondary": return pressed ? "#0f172a" : control.hovered ? "#1e293b" : "#111827"
            default: return pressed ? "#1c2742" : control.hovered ? "#223050" : Theme.panelRaised
            }
        }
        border.width: control.variant === "primary" || control.variant === "danger" ? 0 : 1
        border.color: Theme.border
    }
}
