import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

Item {
    id: home
    Component.onCompleted: {
        appState.loadSources()
        appState.refreshProjects()
    }

    RowLayout {
        anchors.fill: parent
        anchors.margins: 40
        spacing: 40

        ColumnLayout {
            Layout.preferredWidth: 400
            Layout.maximumWidth: 440
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 24
            spacing: 18

            Text {
                text: "本地演示引擎"
                color: Theme.accent
                font.pixelSize: 13
                font.weight: Font.Bold
                font.letterSpacing: 3
            }
            Text {
                text: "录一次，不剪辑，直接生成高级产品演示视频。"
                color: Theme.text
                font.pixelSize: 32
                font.weight: Font.Bold
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            Text {
                text: "自动镜头、平滑光标、比例导出，全部在本机完成。"
                color: Theme.secondaryText
                font.pixelSize: 17
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
            }
            Rectangle {
                Layout.topMargin: 4
                implicitWidth: tag.implicitWidth + 32
                implicitHeight: 34
                radius: 17
                color: "#121d36"
                border.color: Theme.border
                Text {
                    id: tag
                    anchors.centerIn: parent
                    text: "屏幕  ·  光标  ·  镜头"
                    color: Theme.secondaryText
                    font.pixelSize: 12
                    font.letterSpacing: 2
                    font.weight: Font.DemiBold
                }
            }
            Flow {
                Layout.topMargin: 14
                Layout.fillWidth: true
                spacing: 12
                VantileButton {
                    objectName: "startRecordingButton"
                    text: "开始录制"
                    variant: "primary"
                    enabled: !appState.isBusy
                    onClicked: appState.startRecording()
                }
                VantileButton {
                    text: "选择窗口"
                    onClicked: appState.route = "sourcePicker"
                }
                VantileButton {
                    text: "权限设置"
                    variant: "darkSecondary"
                    onClicked: appState.route = "permissions"
                }
            }
            Repeater {
                model: appState.unfinishedRecordings
                delegate: Rectangle {
                    objectName: "unfinishedRecording"
                    Layout.fillWidth: true
                    implicitHeight: offer.implicitHeight + 24
                    radius: 12
                    color: "#121d36"
                    border.color: Theme.border
                    ColumnLayout {
                        id: offer
                        anchors.fill: parent
                        anchors.margins: 12
                        spacing: 10
                        Text {
                            text: "录制“" + modelData.name + "”没有正常结束，可以恢复成可预览和导出的项目。"
                            color: Theme.text
                            font.pixelSize: 15
                            wrapMode: Text.WordWrap
                            Layout.fillWidth: true
                        }
                        RowLayout {
                            spacing: 10
                            VantileButton {
                                text: "恢复"
                                variant: "primary"
                                enabled: !appState.isBusy
                                onClicked: appState.recoverUnfinishedRecording(modelData.directory)
                            }
                            VantileButton {
                                text: "忽略"
                                variant: "darkSecondary"
                                onClicked: appState.ignoreUnfinishedRecording(modelData.directory)
                            }
                        }
                    }
                }
            }
        }

        // The recordings under the projects folder, newest first.
        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: Theme.radius
            color: Theme.panel
            border.color: Theme.border

            ColumnLayout {
                anchors.fill: parent
                anchors.margins: 18
                spacing: 12

                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10
                    Text { text: "项目"; color: Theme.text; font.pixelSize: 20; font.weight: Font.Bold }
                    Text {
                        text: appState.projects.length > 0 ? appState.projects.length + " 个" : ""
                        color: Theme.tertiaryText
                        font.pixelSize: 13
                        Layout.fillWidth: true
                    }
                    VantileButton {
                        objectName: "openProjectButton"
                        text: "打开项目…"
                        variant: "darkSecondary"
                        onClicked: home.ApplicationWindow.window.openProjectDialog()
                    }
                }

                Text {
                    visible: appState.projects.length === 0
                    text: "还没有录制。点击“开始录制”录下第一个演示，或把项目文件夹拖到这里打开。"
                    color: Theme.secondaryText
                    font.pixelSize: 15
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                    Layout.topMargin: 24
                }

                ListView {
                    id: projectList
                    objectName: "projectList"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    spacing: 8
                    model: appState.projects
                    keyNavigationEnabled: true
                    focus: true
                    currentIndex: -1
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar { policy: projectList.contentHeight > projectList.height ? ScrollBar.AlwaysOn : ScrollBar.AsNeeded }
                    Keys.onReturnPressed: if (currentIndex >= 0) open(model[currentIndex])
                    Keys.onEnterPressed: if (currentIndex >= 0) open(model[currentIndex])

                    function open(project) {
                        if (project.problem === "") appState.openProjectLocation(project.directory)
                    }

                    delegate: Rectangle {
                        id: row
                        objectName: "projectRow"
                        required property var modelData
                        required property int index
                        property bool renaming: false
                        width: ListView.view.width - 14
                        height: 92
                        radius: 12
                        color: ListView.isCurrentItem ? "#1c2a4a" : rowMouse.containsMouse ? "#16213a" : "#101729"
                        border.color: ListView.isCurrentItem ? Theme.accentStrong : Theme.border

                        // A click opens the project; the arrow keys choose one for Enter.
                        MouseArea {
                            id: rowMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            enabled: !row.renaming
                            onClicked: {
                                projectList.currentIndex = row.index
                                projectList.open(row.modelData)
                            }
                        }

                        RowLayout {
                            anchors.fill: parent
                            anchors.margins: 10
                            spacing: 14

                            Rectangle {
                                Layout.preferredWidth: 128
                                Layout.preferredHeight: 72
                                radius: 6
                                color: "#070b16"
                                clip: true
                                Image {
                                    anchors.fill: parent
                                    source: row.modelData.thumbnail
                                    asynchronous: true
                                    // The provider keeps the pictures on disk; no second copy stays in memory.
                                    cache: false
                                    fillMode: Image.PreserveAspectCrop
                                    sourceSize.width: 256
                                }
                            }

                            ColumnLayout {
                                Layout.fillWidth: true
                                spacing: 4
                                Text {
                                    visible: !row.renaming
                                    text: row.modelData.name
                                    color: Theme.text
                                    font.pixelSize: 15
                                    font.weight: Font.DemiBold
                                    elide: Text.ElideMiddle
                                    Layout.fillWidth: true
                                }
                                TextField {
                                    id: nameField
                                    objectName: "projectNameField"
                                    visible: row.renaming
                                    Layout.fillWidth: true
                                    font.pixelSize: 15
                                    color: Theme.text
                                    selectByMouse: true
                                    background: Rectangle { radius: 6; color: "#0b1020"; border.color: Theme.accentStrong }
                                    onAccepted: {
                                        row.renaming = false
                                        if (text !== row.modelData.name) appState.renameProject(row.modelData.directory, text)
                                    }
                                    Keys.onEscapePressed: row.renaming = false
                                    onActiveFocusChanged: if (!activeFocus) row.renaming = false
                                }
                                Text {
                                    text: [row.modelData.date, row.modelData.duration, row.modelData.source]
                                              .filter(part => part !== "").join("  ·  ")
                                    color: Theme.secondaryText
                                    font.pixelSize: 13
                                    elide: Text.ElideRight
                                    Layout.fillWidth: true
                                }
                                Text {
                                    visible: row.modelData.status !== ""
                                    text: row.modelData.status
                                    color: row.modelData.exported ? Theme.success : Theme.warning
                                    font.pixelSize: 12
                                    font.weight: Font.DemiBold
                                }
                            }

                            VantileButton {
                                visible: row.modelData.unfinished
                                text: "恢复"
                                variant: "primary"
                                compact: true
                                enabled: !appState.isBusy
                                onClicked: projectList.open(row.modelData)
                            }
                            VantileButton {
                                text: "重命名"
                                variant: "darkSecondary"
                                compact: true
                                enabled: !appState.isBusy
                                onClicked: {
                                    nameField.text = row.modelData.name
                                    row.renaming = true
                                    nameField.forceActiveFocus()
                                    nameField.selectAll()
                                }
                            }
                            VantileButton {
                                text: "删除"
                                variant: "darkSecondary"
                                compact: true
                                enabled: !appState.isBusy
                                onClicked: trashConfirmation.ask(row.modelData)
                            }
                        }
                    }
                }
            }
        }
    }

    // Never deleted outright: the folder goes to the desktop's trash, from where it can come back.
    Dialog {
        id: trashConfirmation
        objectName: "trashConfirmation"
        property var project: ({})
        function ask(chosen) { project = chosen; open() }
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 520)
        modal: true
        padding: 24
        background: Rectangle { radius: Theme.radius; color: Theme.panelRaised; border.color: Theme.border }
        contentItem: ColumnLayout {
            spacing: 12
            Text {
                text: "把“" + trashConfirmation.project.name + "”移到回收站？"
                color: Theme.text
                font.pixelSize: 17
                font.weight: Font.Bold
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
            Text {
                text: "录制的影片、编辑和导出都在这个文件夹里，可以从回收站还原。"
                color: Theme.secondaryText
                font.pixelSize: 14
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            RowLayout {
                Layout.topMargin: 8
                spacing: 10
                Item { Layout.fillWidth: true }
                VantileButton { text: "取消"; variant: "darkSecondary"; onClicked: trashConfirmation.close() }
                VantileButton {
                    objectName: "confirmTrashButton"
                    text: "移到回收站"
                    variant: "danger"
                    onClicked: {
                        trashConfirmation.close()
                        appState.moveProjectToTrash(trashConfirmation.project.directory)
                    }
                }
            }
        }
    }
}
