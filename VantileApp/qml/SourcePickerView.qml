import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

Item {
    Component.onCompleted: appState.loadSources()

    RowLayout {
        anchors.fill: parent
        anchors.margins: 36
        spacing: 24

        ColumnLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 14

            RowLayout {
                Layout.fillWidth: true
                Text { text: "选择录制目标"; color: Theme.text; font.pixelSize: 28; font.weight: Font.Bold; Layout.fillWidth: true }
                VantileButton { text: "重新加载"; variant: "darkSecondary"; onClicked: appState.loadSources() }
            }
            ListView {
                id: list
                objectName: "sourceList"
                Layout.fillWidth: true
                Layout.fillHeight: true
                clip: true
                spacing: 8
                model: appState.sources
                delegate: CaptureSourceRow {
                    width: list.width
                    source: modelData
                    isSelected: appState.selectedSourceId === modelData.id
                    onChosen: appState.selectedSourceId = modelData.id
                }
                ScrollBar.vertical: ScrollBar {}
                Text {
                    anchors.centerIn: parent
                    visible: list.count === 0
                    text: appState.isBusy ? "正在读取可录制的屏幕和窗口…" : "没有可录制的屏幕或窗口。"
                    color: Theme.secondaryText
                    font.pixelSize: 14
                }
            }
            RowLayout {
                spacing: 12
                VantileButton { text: "权限设置"; variant: "darkSecondary"; onClicked: appState.route = "permissions" }
                VantileButton { text: "返回"; variant: "darkSecondary"; onClicked: appState.route = "home" }
                Item { Layout.fillWidth: true }
                VantileButton {
                    objectName: "startRecordingButton"
                    text: "开始录制"
                    variant: "primary"
                    enabled: !appState.isBusy && appState.selectedSourceId !== ""
                    onClicked: appState.startRecording()
                }
            }
        }

        ScrollView {
            Layout.preferredWidth: 360
            Layout.fillHeight: true
            contentWidth: availableWidth
            AudioCaptureSettingsPanel { width: parent.width }
        }
    }
}
