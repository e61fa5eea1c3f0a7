import QtQuick
import QtQuick.Layouts
import "."

// Card or fill for a frame whose shape differs from the recording's, each shown as a sketch of
// the frame it makes.
ColumnLayout {
    id: choice
    property string current: "card"
    // The output's width over its height, for the sketches.
    property real aspect: 9 / 16
    signal picked(string value)
    spacing: 6

    Text { text: "版式"; color: Theme.secondaryText; font.pixelSize: 12; font.weight: Font.DemiBold }
    Row {
        spacing: 10
        Repeater {
            model: [{ value: "card", label: "卡片" }, { value: "fill", label: "铺满画面" }]
            delegate: Rectangle {
                objectName: "layoutChoice_" + modelData.value
                readonly property bool isCurrent: choice.current === modelData.value
                width: 96
                height: 92
                radius: 8
                color: hover.hovered ? Theme.panelRaised : "#0f1629"
                border.width: isCurrent ? 2 : 1
                border.color: isCurrent ? Theme.accent : Theme.border
                HoverHandler { id: hover }
                TapHandler { onTapped: choice.picked(modelData.value) }

                // The frame, and the recording in it.
                Rectangle {
                    id: frame
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: 8
                    height: 54
                    width: Math.min(80, height * choice.aspect)
                    radius: 3
                    color: modelData.value === "card" ? "#3b2a6b" : "#dbe4f3"
                    border.color: Theme.border
                    Rectangle {
                        visible: modelData.value === "card"
                        anchors.centerIn: parent
                        width: parent.width - 8
                        height: width * 9 / 16
                        radius: 2
                        color: "#dbe4f3"
                    }
                    Rectangle {
                        // The pointer the fill view keeps in sight.
                        x: parent.width * 0.55
                        y: parent.height * 0.45
                        width: 5
                        height: 5
                        radius: 2.5
                        color: "#2563eb"
                    }
                }
                Text {
                    anchors.horizontalCenter: parent.horizontalCenter
                    anchors.top: frame.bottom
                    anchors.topMargin: 6
                    text: modelData.label
                    color: Theme.text
                    font.pixelSize: 12
                }
            }
        }
    }
}
