import QtQuick
import QtQuick.Layouts
import "."

Item {
    Component.onCompleted: appState.loadSources()

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 96, 880)
        spacing: 22

        Text {
            text: "LOCAL DEMO ENGINE"
            color: Theme.accent
            font.pixelSize: 13
            font.weight: Font.Bold
            font.letterSpacing: 3
        }
        Text {
            text: "录一次，不剪辑，直接生成高级产品演示视频。"
            color: Theme.text
            font.pixelSize: 38
            font.weight: Font.Bold
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Text {
            text: "自动镜头、平滑光标、比例导出，全部在本机完成。"
            color: Theme.secondaryText
            font.pixelSize: 18
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
        }
        Rectangle {
            Layout.topMargin: 6
            implicitWidth: tag.implicitWidth + 32
            implicitHeight: 34
            radius: 17
            color: "#121d36"
            border.color: Theme.border
            Text {
                id: tag
                anchors.centerIn: parent
                text: "SCREEN  ·  CURSOR  ·  CAMERA"
                color: Theme.secondaryText
                font.pixelSize: 12
                font.letterSpacing: 2
                font.weight: Font.DemiBold
            }
        }
        RowLayout {
            Layout.topMargin: 18
            spacing: 12
            VantileButton {
                objectName: "startRecordingButton"
                text: "开始录制"
                variant: "primary"
                enabled: !appState.isBusy
                onClicked: appState.startRecording()
            }
            VantileButton {
                text: "选择窗口"
                onClicked: appState.route = "sourcePicker"
            }
            VantileButton {
                text: "权限设置"
                variant: "darkSecondary"
                onClicked: appState.route = "permissions"
            }
        }
        Repeater {
            model: appState.unfinishedRecordings
            delegate: Rectangle {
                objectName: "unfinishedRecording"
                Layout.fillWidth: true
                implicitHeight: offer.implicitHeight + 24
                radius: 12
                color: "#121d36"
                border.color: Theme.border
                RowLayout {
                    id: offer
                    anchors.fill: parent
                    anchors.margins: 12
                    spacing: 12
                    Text {
                        text: "录制“" + modelData.name + "”没有正常结束，可以恢复成可预览和导出的项目。"
                        color: Theme.text
                        font.pixelSize: 15
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                    }
                    VantileButton {
                        text: "恢复"
                        variant: "primary"
                        enabled: !appState.isBusy
                        onClicked: appState.recoverUnfinishedRecording(modelData.directory)
                    }
                    VantileButton {
                        text: "忽略"
                        variant: "darkSecondary"
                        onClicked: appState.ignoreUnfinishedRecording(modelData.directory)
                    }
                }
            }
        }
    }
}
