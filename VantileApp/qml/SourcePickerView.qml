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
            id: choices
            Layout.preferredWidth: 360
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true
            // A scroll bar that stays, so choices below the window's edge are not missed.
            readonly property bool overflows: contentHeight > availableHeight + 1
            rightPadding: overflows ? 14 : 0
            ScrollBar.vertical.policy: overflows ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
            ColumnLayout {
                width: parent.width
                spacing: 14
                AudioCaptureSettingsPanel { Layout.fillWidth: true }
                Rectangle {
                    Layout.fillWidth: true
                    radius: Theme.radius
                    color: Theme.panel
                    border.color: Theme.border
                    implicitHeight: countdown.implicitHeight + 36
                    ColumnLayout {
                        id: countdown
                        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 18 }
                        spacing: 10
                        SettingPicker {
                            objectName: "countdownPicker"
                            Layout.fillWidth: true
                            title: "倒计时"
                            options: [{ value: "auto", label: "自动" }, { value: "3", label: "3 秒" },
                                      { value: "2", label: "2 秒" }, { value: "off", label: "关" }]
                            current: appState.recordingCountdown
                            onPicked: (value) => appState.recordingCountdown = value
                        }
                        Text {
                            text: "开始前倒数，Vantile 的窗口在第一帧之前离开画面。自动：只有一块屏幕被录制时倒数 3 秒。"
                            color: Theme.tertiaryText
                            font.pixelSize: 12
                            wrapMode: Text.WordWrap
                            Layout.fillWidth: true
                        }
                        SettingPicker {
                            objectName: "recordingFpsPicker"
                            Layout.fillWidth: true
                            title: "帧率"
                            options: [{ value: 30, label: "30 fps" }, { value: 60, label: "60 fps" }]
                            current: appState.recordingFps
                            onPicked: (value) => appState.recordingFps = value
                        }
                        Text {
                            text: "60 fps 让快速的移动更顺滑，文件更大、占用更多处理器；导出默认使用录制的帧率。"
                            color: Theme.tertiaryText
                            font.pixelSize: 12
                            wrapMode: Text.WordWrap
                            Layout.fillWidth: true
                        }
                        SettingSwitch {
                            objectName: "recordShortcutsSwitch"
                            Layout.fillWidth: true
                            title: "记录键盘快捷键"
                            checked: appState.recordsShortcuts
                            onToggled: (value) => appState.recordsShortcuts = value
                        }
                        Text {
                            text: "只记录带 Ctrl、Alt 或 Super 的组合键（如 Ctrl+Shift+P），导出时显示为按键徽标；普通输入从不按键记录。"
                            color: Theme.tertiaryText
                            font.pixelSize: 12
                            wrapMode: Text.WordWrap
                            Layout.fillWidth: true
                        }
                    }
                }
                CameraChoicePanel { Layout.fillWidth: true }
            }
        }
    }
}
