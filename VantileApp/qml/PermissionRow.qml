import QtQuick
import QtQuick.Layouts
import "."

Rectangle {
    id: row
    property string title
    property string detail
    property bool granted: false
    property bool showsAction: !granted
    property string actionText: "请求权限"
    property bool showsSettings: showsAction
    signal primaryAction()
    signal settingsAction()

    implicitHeight: 78
    radius: Theme.radius
    color: Theme.panel
    border.color: Theme.border

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 20
        anchors.rightMargin: 16
        spacing: 16
        StatusSymbol { positive: row.granted }
        ColumnLayout {
            spacing: 4
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            Text { text: row.title; color: Theme.text; font.pixelSize: 16; font.weight: Font.DemiBold; Layout.fillWidth: true }
            Text { text: row.detail; color: Theme.secondaryText; font.pixelSize: 13; elide: Text.ElideRight; Layout.fillWidth: true }
        }
        Text {
            Layout.preferredWidth: 56
            horizontalAlignment: Text.AlignRight
            text: row.granted ? "已开启" : "未开启"
            color: row.granted ? Theme.success : Theme.warning
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        VantileButton {
            visible: row.showsAction
            text: row.actionText
            variant: "primary"
            onClicked: row.primaryAction()
        }
        VantileButton {
            visible: row.showsSettings
            text: "打开设置"
            onClicked: row.settingsAction()
        }
    }
}
