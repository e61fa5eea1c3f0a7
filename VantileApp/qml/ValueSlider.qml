import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// A labelled slider whose value is handed on when the drag ends, so one drag is one change.
ColumnLayout {
    id: control
    property string title
    property real value
    property alias from: slider.from
    property alias to: slider.to
    property alias stepSize: slider.stepSize
    // How the value reads beside the title.
    property var format: v => v.toFixed(2)
    signal committed(real value)
    spacing: 6

    RowLayout {
        Layout.fillWidth: true
        Text { text: control.title; color: Theme.secondaryText; font.pixelSize: 12; font.weight: Font.DemiBold; Layout.fillWidth: true }
        Text { text: control.format(slider.value); color: Theme.tertiaryText; font.pixelSize: 12 }
    }
    Slider {
        id: slider
        Layout.fillWidth: true
        onPressedChanged: if (!pressed) control.committed(value)
        Binding on value {
            when: !slider.pressed
            value: control.value
        }
    }
}
