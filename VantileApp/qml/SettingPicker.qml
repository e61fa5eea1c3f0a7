import QtQuick
import QtQuick.Layouts
import "."

// A labelled row of choices, one of them current.
ColumnLayout {
    id: picker
    property string title
    property var options: []
    property var current
    signal picked(var value)
    spacing: 6

    Text { text: picker.title; color: Theme.secondaryText; font.pixelSize: 12; font.weight: Font.DemiBold }
    Flow {
        Layout.fillWidth: true
        spacing: 6
        Repeater {
            model: picker.options
            delegate: Rectangle {
                readonly property bool isCurrent: String(modelData.value) === String(picker.current)
                width: label.implicitWidth + 22
                height: 30
                radius: 8
                color: isCurrent ? Theme.accentStrong : hover.hovered ? Theme.panelRaised : "#0f1629"
                border.color: isCurrent ? Theme.accentStrong : Theme.border
                Text { id: label; anchors.centerIn: parent; text: modelData.label; color: Theme.text; font.pixelSize: 13 }
                HoverHandler { id: hover }
                TapHandler { onTapped: picker.picked(modelData.value) }
            }
        }
    }
}
