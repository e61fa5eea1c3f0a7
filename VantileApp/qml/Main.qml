import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
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

    // Any project folder: the desktop's own folder chooser (the portal's on Wayland).
    function openProjectDialog() { projectFolderDialog.open() }

    FolderDialog {
        id: projectFolderDialog
        objectName: "projectFolderDialog"
        title: "打开项目"
        currentFolder: appState.projectsRootURL
        onAccepted: appState.openProjectLocation(selectedFolder.toString())
    }
    Shortcut {
        sequence: "Ctrl+O"
        // Not while typing in a text field, like every other key.
        enabled: appState.route !== "recording" && !(window.activeFocusItem && window.activeFocusItem.cursorPosition !== undefined)
        onActivated: window.openProjectDialog()
    }

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

    // A project folder (or a file inside one) dropped on the window opens it.
    DropArea {
        objectName: "projectDropArea"
        anchors.fill: parent
        enabled: appState.route !== "recording"
        onEntered: (drag) => drag.accepted = drag.hasUrls
        onDropped: (drop) => {
            if (!drop.hasUrls) return
            appState.openProjectLocation(drop.urls[0].toString())
            drop.acceptProposedAction()
        }
    }

    // Closing or quitting while an export runs asks first.
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
