import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import "."

// A question with two answers, shown while `visible` is bound true; the answer is the
// caller's to act on (which hides it).
Popup {
    id: dialog
    property string message
    property string acceptText
    property string rejectText
    property string acceptVariant: "primary"
    signal acceptClicked()
    signal rejectClicked()

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    modal: true
    closePolicy: Popup.NoAutoClose
    padding: 24
    width: Math.min(460, parent ? parent.width - 48 : 460)
    background: Rectangle { radius: Theme.radius; color: Theme.panel; border.color: Theme.border }

    ColumnLayout {
        anchors.fill: parent
        spacing: 20
        Text {
            objectName: dialog.objectName + "Message"
            text: dialog.message
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: 15
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: 12
            VantileButton {
                objectName: dialog.objectName + "Reject"
                text: dialog.rejectText
                variant: "darkSecondary"
                onClicked: dialog.rejectClicked()
            }
            VantileButton {
                objectName: dialog.objectName + "Accept"
                text: dialog.acceptText
                variant: dialog.acceptVariant
                onClicked: dialog.acceptClicked()
            }
        }
    }
}
