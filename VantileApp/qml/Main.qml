import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// The one main window; its content is one screen per route.
ApplicationWindow {
    id: window
    objectName: "main"
    title: "Vantile"
    width: 1180
    height: 780
    minimumWidth: 960
    minimumHeight: 640
    visible: true
    color: Theme.background
    font.family: Theme.fontFamily

    // A faint grid behind every screen.
    Canvas {
        anchors.fill: parent
        opacity: 0.35
        onPaint: {
            const context = getContext("2d")
            context.clearRect(0, 0, width, height)
            context.strokeStyle = "#1a2440"
            context.lineWidth = 1
            for (let x = 0.5; x < width; x += 48) { context.beginPath(); context.moveTo(x, 0); context.lineTo(x, height); context.stroke() }
            for (let y = 0.5; y < height; y += 48) { context.beginPath(); context.moveTo(0, y); context.lineTo(width, y); context.stroke() }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Loader {
            id: screen
            objectName: "screen"
            Layout.fillWidth: true
            Layout.fillHeight: true
            source: {
                switch (appState.route) {
                case "permissions": return "PermissionsView.qml"
                case "sourcePicker": return "SourcePickerView.qml"
                case "recording": return "RecordingView.qml"
                case "generating": return "GeneratingView.qml"
                case "preview": return "PreviewView.qml"
                default: return "HomeView.qml"
                }
            }
        }

        StatusBar {
            Layout.fillWidth: true
        }
    }

    QuestionDialog {
        objectName: "quitDialog"
        visible: appState.isAskingToQuit
        message: "正在导出，要取消导出并退出吗？"
        acceptText: "取消并退出"
        acceptVariant: "danger"
        rejectText: "继续导出"
        onAcceptClicked: appState.cancelExportAndQuit()
        onRejectClicked: appState.continueExporting()
    }
}
