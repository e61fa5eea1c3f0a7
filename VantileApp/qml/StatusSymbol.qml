import QtQuick
import "."

// A round status mark: a check when granted or selected, an exclamation mark otherwise.
Rectangle {
    property bool positive: true
    width: 22; height: 22; radius: 11
    color: positive ? Theme.success : "transparent"
    border.width: positive ? 0 : 2
    border.color: Theme.warning
    Text {
        anchors.centerIn: parent
        text: parent.positive ? "✓" : "!"
        color: parent.positive ? "#052e1c" : Theme.warning
        font.pixelSize: 13
        font.weight: Font.Black
        font.family: "DejaVu Sans"
    }
}
