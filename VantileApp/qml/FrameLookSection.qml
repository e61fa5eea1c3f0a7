import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import "."

// What surrounds the recording: the background behind the card, the card's spacing, corners
// and shadow, and the drawn cursor's size.
ColumnLayout {
    id: section
    objectName: "frameLookSection"
    property var settings
    property var options
    spacing: 16

    Text { text: "背景与卡片"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold; Layout.topMargin: 8 }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 6
        enabled: section.settings.backgroundEnabled
        Text { text: "背景"; color: Theme.secondaryText; font.pixelSize: 12; font.weight: Font.DemiBold }
        Flow {
            objectName: "backgroundChoices"
            Layout.fillWidth: true
            spacing: 6

            component Tile: Rectangle {
                property bool isCurrent: false
                signal chosen()
                width: 56
                height: 34
                radius: 6
                border.width: isCurrent ? 2 : 1
                border.color: isCurrent ? Theme.accent : tileHover.hovered ? Theme.secondaryText : Theme.border
                HoverHandler { id: tileHover }
                TapHandler { onTapped: parent.chosen() }
            }

            Tile {
                objectName: "templateBackgroundTile"
                color: "#0f1629"
                isCurrent: section.settings.background === "template"
                onChosen: appState.changeRenderSetting("background", "template")
                Text { anchors.centerIn: parent; text: "模板"; color: Theme.text; font.pixelSize: 12 }
            }
            Repeater {
                model: section.options.backgroundColors
                delegate: Tile {
                    color: modelData.value
                    isCurrent: section.settings.background.toUpperCase() === String(modelData.value).toUpperCase()
                    onChosen: appState.changeRenderSetting("background", modelData.value)
                }
            }
            Repeater {
                model: section.options.generatedBackgrounds
                delegate: Tile {
                    objectName: "generatedBackground_" + modelData.value
                    color: "transparent"
                    isCurrent: section.settings.background === modelData.value
                    onChosen: appState.changeRenderSetting("background", modelData.value)
                    Image {
                        anchors.fill: parent
                        anchors.margins: 2
                        source: modelData.thumbnail
                        sourceSize: Qt.size(104, 60)
                        asynchronous: true
                    }
                }
            }
            Repeater {
                model: appState.systemWallpapers
                delegate: Tile {
                    color: "transparent"
                    onChosen: appState.chooseBackgroundImage(modelData.path)
                    Image {
                        anchors.fill: parent
                        anchors.margins: 2
                        source: modelData.thumbnail
                        sourceSize: Qt.size(104, 60)
                        fillMode: Image.PreserveAspectCrop
                        asynchronous: true
                    }
                }
            }
            Tile {
                objectName: "imageBackgroundTile"
                color: "#0f1629"
                isCurrent: section.settings.background === "image"
                onChosen: pictureDialog.open()
                Text { anchors.centerIn: parent; text: "图片…"; color: Theme.text; font.pixelSize: 12 }
            }
        }
    }
    ValueSlider {
        Layout.fillWidth: true
        visible: section.settings.background === "image"
        title: "背景模糊"
        from: 0
        to: 50
        value: section.settings.backgroundBlur
        format: v => Math.round(v) + " px"
        onCommitted: v => appState.changeRenderSetting("backgroundBlur", Math.round(v))
    }
    ValueSlider {
        Layout.fillWidth: true
        objectName: "cardPaddingSlider"
        enabled: section.settings.backgroundEnabled
        title: "边距"
        from: 0
        to: 0.2
        value: section.settings.cardPadding
        format: v => Math.round(v * 100) + "%"
        onCommitted: v => appState.changeRenderSetting("cardPadding", Math.round(v * 1000) / 1000)
    }
    ValueSlider {
        Layout.fillWidth: true
        enabled: section.settings.backgroundEnabled
        title: "圆角"
        from: 0
        to: 64
        value: section.settings.cardCornerRadius
        format: v => Math.round(v) + " px"
        onCommitted: v => appState.changeRenderSetting("cardCornerRadius", Math.round(v))
    }
    ValueSlider {
        Layout.fillWidth: true
        enabled: section.settings.backgroundEnabled
        title: "卡片阴影"
        from: 0
        to: 2
        value: section.settings.shadowStrength
        format: v => Math.round(v * 100) + "%"
        onCommitted: v => appState.changeRenderSetting("shadowStrength", Math.round(v * 20) / 20)
    }
    ValueSlider {
        Layout.fillWidth: true
        enabled: section.settings.showCursor
        title: "光标大小"
        from: 0.5
        to: 3
        value: section.settings.cursorSize
        format: v => v.toFixed(1) + "×"
        onCommitted: v => appState.changeRenderSetting("cursorSize", Math.round(v * 10) / 10)
    }

    FileDialog {
        id: pictureDialog
        title: "选择背景图片"
        fileMode: FileDialog.OpenFile
        nameFilters: ["图片 (*.jpg *.jpeg *.png *.webp)"]
        acceptLabel: "选择"
        rejectLabel: "取消"
        onAccepted: appState.chooseBackgroundImage(selectedFile)
    }
}
