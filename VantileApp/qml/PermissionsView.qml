import QtQuick
import QtQuick.Layouts
import "."

Item {
    Component.onCompleted: appState.loadSources()

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 96, 820)
        spacing: 16

        Text { text: "录制权限"; color: Theme.text; font.pixelSize: 30; font.weight: Font.Bold }
        Text {
            text: "Vantile需要录制屏幕，并记录鼠标点击、滚动和键盘活动时间点，用来自动生成缩放镜头。我们不会记录你输入的具体文字，也不会读取密码、剪贴板或网页内容。"
            color: Theme.secondaryText
            font.pixelSize: 15
            lineHeight: 1.3
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Text {
            objectName: "shortcutBadgeExplanation"
            text: "键盘快捷键徽标是可选的，默认关闭：在选择录制内容时打开“记录键盘快捷键”，这一次录制只记录按住 Ctrl、Alt 或 Super 时按下的组合键（如 Ctrl+Shift+P），导出时显示为按键徽标。普通输入和 Shift 加字母从不按键记录。"
            color: Theme.tertiaryText
            font.pixelSize: 13
            lineHeight: 1.3
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
            Layout.bottomMargin: 8
        }
        PermissionRow {
            Layout.fillWidth: true
            title: "屏幕录制"
            detail: "用于录制你的产品操作画面。"
            granted: appState.permissionStatus.screenRecordingGranted
            onPrimaryAction: appState.requestPermission("screenRecording")
            onSettingsAction: appState.openPermissionSettings("screenRecording")
        }
        PermissionRow {
            Layout.fillWidth: true
            title: "辅助功能"
            detail: "用于记录鼠标点击、滚动和键盘活动时间点。"
            granted: appState.permissionStatus.accessibilityGranted
            onPrimaryAction: appState.requestPermission("accessibility")
            onSettingsAction: appState.openPermissionSettings("accessibility")
        }
        PermissionRow {
            Layout.fillWidth: true
            title: "输入监控"
            detail: "用于监听键盘/鼠标事件时序。"
            granted: appState.permissionStatus.inputMonitoringGranted
            // Where the devices are closed to this user, a helper reads them after one password.
            actionText: appState.permissionStatus.inputHelperOffered ? "授权读取点击" : "请求权限"
            showsSettings: !granted && !appState.permissionStatus.inputHelperOffered
            onPrimaryAction: appState.requestPermission("inputMonitoring")
            onSettingsAction: appState.openPermissionSettings("inputMonitoring")
        }
        Text {
            visible: appState.permissionStatus.inputHelperOffered === true && !appState.permissionStatus.inputMonitoringGranted
            text: "“授权读取点击”会在输入管理员密码后启动一个小助手（vantile-input-helper），由它读取输入设备。它只告诉 Vantile 鼠标按键何时按下和抬起、滚轮何时滚动、以及“有一个键”何时按下和抬起；按了哪个键从不告诉 Vantile，只有这一次录制打开了“记录键盘快捷键”时，助手才会说出按住 Ctrl、Alt 或 Super 时按下的组合键名称（如 Ctrl+Shift+P）；输入的文字、密码、剪贴板和网页内容从不读取，也不会离开助手。Vantile 退出、录制结束或最长 10 分钟后，助手自动退出。"
            color: Theme.secondaryText
            font.pixelSize: 13
            lineHeight: 1.3
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Text {
            // What is missing, and how to grant it where the desktop cannot ask.
            visible: !appState.permissionStatus.allGranted
            text: appState.permissionStatus.missingPermissionMessage || ""
            color: Theme.secondaryText
            font.pixelSize: 14
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        Text {
            Layout.topMargin: 8
            text: "录制和导出默认在你的电脑本地完成。"
            color: Theme.tertiaryText
            font.pixelSize: 13
        }
        Text {
            text: "如果刚刚在系统设置中开启权限后仍显示未开启，请退出并重新打开Vantile，然后点击刷新状态。"
            color: Theme.tertiaryText
            font.pixelSize: 13
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
        RowLayout {
            Layout.topMargin: 12
            spacing: 12
            VantileButton {
                text: "刷新状态"
                onClicked: { appState.refreshPermissionStatus(); appState.loadSources() }
            }
            VantileButton {
                text: "继续"
                variant: "primary"
                onClicked: appState.route = "sourcePicker"
            }
            Item { Layout.fillWidth: true }
            VantileButton {
                text: "返回"
                variant: "darkSecondary"
                onClicked: appState.route = "home"
            }
        }
    }
}
