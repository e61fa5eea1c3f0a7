import QtQuick
import QtQuick.Layouts
import "."

// The progress text of the current flow and the last error.
Rectangle {
    implicitHeight: 34
    color: "#0a0f1d"
    border.color: Theme.border
    border.width: 1

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 18
        spacing: 14

        Rectangle {
            width: 8; height: 8; radius: 4
            color: appState.isBusy ? Theme.warning : Theme.success
        }
        Text {
            objectName: "statusMessage"
            text: appState.statusMessage
            color: Theme.secondaryText
            font.pixelSize: 12
        }
        Item { Layout.fillWidth: true }
        Text {
            objectName: "errorMessage"
            text: appState.errorMessage
            visible: text.length > 0
            color: Theme.danger
            font.pixelSize: 12
            elide: Text.ElideRight
            Layout.maximumWidth: 720
        }
    }
}
