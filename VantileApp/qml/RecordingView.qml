import QtQuick
import QtQuick.Layouts
import "."

Item {
    ColumnLayout {
        anchors.centerIn: parent
        spacing: 20

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 12
            Rectangle {
                width: 14; height: 14; radius: 7
                color: Theme.danger
                SequentialAnimation on opacity {
                    loops: Animation.Infinite
                    NumberAnimation { to: 0.25; duration: 700 }
                    NumberAnimation { to: 1; duration: 700 }
                }
            }
            Text { text: "正在录制"; color: Theme.text; font.pixelSize: 20; font.weight: Font.DemiBold }
        }
        Text {
            objectName: "elapsedTime"
            Layout.alignment: Qt.AlignHCenter
            text: appState.recordingElapsedText
            color: Theme.text
            font.pixelSize: 84
            font.weight: Font.Light
            font.family: "DejaVu Sans Mono"
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "最长 " + Math.round(appState.recordingMaxDuration / 60) + " 分钟，到时自动停止。也可以从托盘图标的菜单停止。"
            color: Theme.secondaryText
            font.pixelSize: 14
        }
        VantileButton {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 12
            Layout.preferredWidth: 160
            text: "停止"
            variant: "danger"
            onClicked: appState.stopRecording()
        }
    }
}
