import QtQuick
import QtQuick.Layouts
import "."

// One radio-like choice with an optional description.
Rectangle {
    id: row
    property string title
    property string detail
    property bool selected: false
    signal chosen()

    implicitHeight: layout.implicitHeight + 18
    radius: 10
    color: selected ? "#17284a" : hover.hovered ? Theme.panelRaised : "transparent"
    border.color: selected ? Theme.accentStrong : Theme.border

    HoverHandler { id: hover }
    TapHandler { onTapped: row.chosen() }

    RowLayout {
        id: layout
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter; leftMargin: 12; rightMargin: 12 }
        spacing: 12
        Rectangle {
            width: 16; height: 16; radius: 8
            color: "transparent"
            border.color: row.selected ? Theme.accent : Theme.secondaryText
            border.width: 2
            Rectangle { anchors.centerIn: parent; width: 8; height: 8; radius: 4; color: Theme.accent; visible: row.selected }
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true
            Text { text: row.title; color: Theme.text; font.pixelSize: 14; font.weight: Font.DemiBold; elide: Text.ElideRight; Layout.fillWidth: true }
            Text { text: row.detail; visible: text.length > 0; color: Theme.secondaryText; font.pixelSize: 12; wrapMode: Text.WordWrap; Layout.fillWidth: true }
        }
    }
}
