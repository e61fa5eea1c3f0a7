import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

RowLayout {
    id: row
    property string title
    property bool checked
    signal toggled(bool value)

    Text { text: row.title; color: Theme.text; font.pixelSize: 13; Layout.fillWidth: true }
    Switch {
        id: control
        checked: row.checked
        onToggled: row.toggled(checked)
        indicator: Rectangle {
            implicitWidth: 40
            implicitHeight: 22
            x: control.leftPadding
            y: parent.height / 2 - height / 2
            radius: 11
            color: control.checked ? Theme.accentStrong : "#2a3550"
            Rectangle {
                x: control.checked ? parent.width - width - 3 : 3
                y: 3
                width: 16; height: 16; radius: 8
                color: "white"
                Behavior on x { NumberAnimation { duration: 120 } }
            }
        }
    }
}
