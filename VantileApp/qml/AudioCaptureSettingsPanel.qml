import QtQuick
import QtQuick.Layouts
import "."

Rectangle {
    radius: Theme.radius
    color: Theme.panel
    border.color: Theme.border
    implicitHeight: content.implicitHeight + 36

    readonly property bool recordsMicrophone: appState.audioCaptureMode === "microphone"
                                              || appState.audioCaptureMode === "systemAndMicrophone"

    ColumnLayout {
        id: content
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 18 }
        spacing: 10

        Text { text: "声音"; color: Theme.text; font.pixelSize: 16; font.weight: Font.Bold }
        Repeater {
            model: appState.settingOptions.audioModes
            delegate: ChoiceRow {
                Layout.fillWidth: true
                title: modelData.label
                detail: modelData.detail
                selected: appState.audioCaptureMode === modelData.value
                onChosen: appState.audioCaptureMode = modelData.value
            }
        }

        ColumnLayout {
            visible: recordsMicrophone
            spacing: 8
            Layout.fillWidth: true
            Layout.topMargin: 8
            RowLayout {
                Layout.fillWidth: true
                Text { text: "麦克风"; color: Theme.text; font.pixelSize: 16; font.weight: Font.Bold; Layout.fillWidth: true }
                VantileButton { text: "刷新"; variant: "darkSecondary"; topPadding: 6; bottomPadding: 6; onClicked: appState.loadAudioInputs() }
                VantileButton { text: "权限"; variant: "darkSecondary"; topPadding: 6; bottomPadding: 6; onClicked: appState.openMicrophoneSettings() }
            }
            ChoiceRow {
                Layout.fillWidth: true
                title: "系统默认"
                selected: appState.selectedMicrophoneDeviceID === ""
                onChosen: appState.selectedMicrophoneDeviceID = ""
            }
            Repeater {
                model: appState.availableMicrophones
                delegate: ChoiceRow {
                    Layout.fillWidth: true
                    title: modelData.name
                    selected: appState.selectedMicrophoneDeviceID === modelData.id
                    onChosen: appState.selectedMicrophoneDeviceID = modelData.id
                }
            }
            Text {
                text: "蓝牙耳机、USB 麦克风或外接声卡会作为麦克风设备显示。"
                color: Theme.tertiaryText
                font.pixelSize: 12
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
        }
    }
}
