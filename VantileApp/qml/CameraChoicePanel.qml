import QtQuick
import QtQuick.Layouts
import Vantile
import "."

// 摄像头: none, or one of the listed cameras, recorded beside the screen as the bubble's picture.
Rectangle {
    objectName: "cameraChoicePanel"
    radius: Theme.radius
    color: Theme.panel
    border.color: Theme.border
    implicitHeight: content.implicitHeight + 36

    ColumnLayout {
        id: content
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 18 }
        spacing: 10

        Text { text: "摄像头"; color: Theme.text; font.pixelSize: 16; font.weight: Font.Bold }
        ChoiceRow {
            objectName: "noCameraChoice"
            Layout.fillWidth: true
            title: "不录制摄像头"
            selected: appState.selectedCameraId === ""
            onChosen: appState.selectCamera("")
        }
        Repeater {
            model: appState.availableCameras
            delegate: ChoiceRow {
                Layout.fillWidth: true
                title: modelData.title
                selected: appState.selectedCameraId === modelData.id
                onChosen: appState.selectCamera(modelData.id)
            }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: width * 9 / 16
            visible: appState.selectedCameraId !== ""
            radius: 10
            color: "#05070d"
            border.color: Theme.border
            clip: true
            CameraThumbnail {
                objectName: "cameraThumbnail"
                anchors.fill: parent
                anchors.margins: 1
                controller: appState
                cameraId: appState.selectedCameraId
                // Off while a recording starts, so the camera is free for it.
                active: !appState.isBusy
            }
        }
        Text {
            objectName: "cameraHint"
            text: appState.availableCameras.length > 0
                  ? "摄像头画面以气泡显示在录屏上，录制后可以移动、缩放或隐藏。"
                  : appState.isLoadingCameras
                    ? "正在查找摄像头…桌面若询问能否使用摄像头，请选择允许。"
                    : "没有找到摄像头。连接摄像头后点“重新加载”。"
            color: Theme.tertiaryText
            font.pixelSize: 12
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
    }
}
