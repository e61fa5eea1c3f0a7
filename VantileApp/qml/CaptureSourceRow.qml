import QtQuick
import QtQuick.Layouts
import "."

Rectangle {
    id: row
    property var source
    property bool isSelected: false
    signal chosen()

    implicitHeight: 64
    radius: 12
    color: isSelected ? "#17284a" : hover.hovered ? Theme.panelRaised : Theme.panel
    border.color: isSelected ? Theme.accentStrong : Theme.border
    border.width: isSelected ? 2 : 1

    HoverHandler { id: hover }
    TapHandler { onTapped: row.chosen() }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        spacing: 14
        // A small picture of a screen or a window.
        Rectangle {
            width: 34; height: 24; radius: 4
            color: "transparent"
            border.color: Theme.secondaryText
            border.width: 2
            Rectangle {
                visible: row.source.kind === "window"
                anchors { left: parent.left; right: parent.right; top: parent.top }
                height: 6; radius: 2
                color: Theme.secondaryText
            }
            Rectangle {
                visible: row.source.kind === "display"
                anchors { horizontalCenter: parent.horizontalCenter; top: parent.bottom }
                width: 12; height: 4
                color: Theme.secondaryText
            }
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true
            Text {
                text: row.source.title
                color: Theme.text
                font.pixelSize: 15
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
            Text {
                text: (row.source.kind === "display" ? "显示器" : row.source.appName) + "  ·  "
                      + Math.round(row.source.width) + " x " + Math.round(row.source.height)
                color: Theme.secondaryText
                font.pixelSize: 12
            }
        }
        StatusSymbol { visible: row.isSelected; positive: true }
    }
}
