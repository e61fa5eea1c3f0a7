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
        checked: row.checked
        onToggled: row.toggled(checked)
    }
}
