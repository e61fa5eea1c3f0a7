import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// The open project's exports, newest first: name, format, time and size, each with reveal
// and move-to-trash. Its height (`rows` exports) does not change with the number of exports.
Rectangle {
    id: list
    // The export waiting for the trash question, by its recorded key.
    property string trashKey
    property string trashName

    property int rows: 3

    implicitHeight: rows * 34 + 10
    radius: 10
    color: Theme.panel
    border.color: Theme.border

    Text {
        anchors.centerIn: parent
        visible: exportsView.count === 0
        text: "还没有导出"
        color: Theme.tertiaryText
        font.pixelSize: 13
    }

    ListView {
        id: exportsView
        objectName: "exportsList"
        anchors.fill: parent
        anchors.margins: 6
        clip: true
        spacing: 2
        model: appState.exports
        ScrollBar.vertical: ScrollBar { policy: exportsView.contentHeight > exportsView.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff }
        delegate: RowLayout {
            required property var modelData
            required property int index
            width: exportsView.width - 12
            height: 32
            spacing: 10
            Text {
                objectName: "exportName" + index
                text: modelData.name
                color: Theme.text
                font.pixelSize: 13
                elide: Text.ElideMiddle
                Layout.fillWidth: true
                Layout.leftMargin: 8
            }
            Text { text: modelData.format; color: Theme.accent; font.pixelSize: 12; font.weight: Font.DemiBold }
            Text { text: modelData.time; color: Theme.secondaryText; font.pixelSize: 12 }
            Text {
                text: modelData.size
                color: Theme.secondaryText
                font.pixelSize: 12
                horizontalAlignment: Text.AlignRight
                Layout.preferredWidth: 64
            }
            VantileButton {
                objectName: "revealExport" + index
                text: "在文件管理器中显示"
                variant: "darkSecondary"
                font.pixelSize: 12
                topPadding: 4; bottomPadding: 4; leftPadding: 10; rightPadding: 10
                background.implicitHeight: 26
                onClicked: appState.revealExport(modelData.key)
            }
            VantileButton {
                objectName: "trashExport" + index
                text: "删除"
                variant: "darkSecondary"
                enabled: !appState.isBusy
                font.pixelSize: 12
                topPadding: 4; bottomPadding: 4; leftPadding: 10; rightPadding: 10
                background.implicitHeight: 26
                onClicked: {
                    list.trashName = modelData.name
                    list.trashKey = modelData.key
                }
            }
        }
    }

    QuestionDialog {
        objectName: "trashDialog"
        visible: list.trashKey.length > 0
        message: "要将“" + list.trashName + "”移到回收站吗？"
        acceptText: "移到回收站"
        acceptVariant: "danger"
        rejectText: "取消"
        onAcceptClicked: {
            const key = list.trashKey
            list.trashKey = ""
            appState.moveExportToTrash(key)
        }
        onRejectClicked: list.trashKey = ""
    }
}
