import QtQuick
import QtQuick.Layouts
import "."

Item {
    ColumnLayout {
        anchors.centerIn: parent
        width: 460
        spacing: 18

        Spinner { Layout.alignment: Qt.AlignHCenter }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "正在生成演示视频"
            color: Theme.text
            font.pixelSize: 26
            font.weight: Font.Bold
        }
        Repeater {
            model: [
                { index: "01", title: "分析点击位置" },
                { index: "02", title: "生成自动缩放" },
                { index: "03", title: "平滑光标轨迹" }
            ]
            delegate: Rectangle {
                Layout.fillWidth: true
                implicitHeight: 54
                radius: 12
                color: Theme.panel
                border.color: Theme.border
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 18
                    spacing: 16
                    Text { text: modelData.index; color: Theme.accent; font.pixelSize: 15; font.weight: Font.Bold; font.family: "DejaVu Sans Mono" }
                    Text { text: modelData.title; color: Theme.text; font.pixelSize: 15 }
                    Item { Layout.fillWidth: true }
                }
            }
        }
    }
}
