import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Vantile
import "."

Item {
    id: view
    // On a short screen (a 1280x720 display, a laptop at 125%) the picture keeps the height the
    // fixed rows would otherwise take.
    readonly property bool compact: height < 860

    EditorShortcuts {
        objectName: "editorShortcuts"
        anchors.fill: parent
        preview: preview
        timeline: timelineView
        onExportRequested: exportDialog.ask(false)
    }

    RowLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 22

        ColumnLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 12

            RowLayout {
                Layout.fillWidth: true
                Text { text: "预览"; color: Theme.text; font.pixelSize: 24; font.weight: Font.Bold }
                Text {
                    text: appState.currentProject.id || ""
                    color: Theme.tertiaryText
                    font.pixelSize: 13
                    Layout.leftMargin: 8
                    Layout.fillWidth: true
                    elide: Text.ElideRight
                }
                VantileButton { text: "新录制"; variant: "darkSecondary"; enabled: !appState.isBusy; onClicked: appState.route = "sourcePicker" }
            }

            Rectangle {
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Theme.radius
                color: "#070b16"
                border.color: Theme.border
                clip: true

                LivePreview {
                    id: preview
                    objectName: "livePreview"
                    anchors.fill: parent
                    anchors.margins: 12
                    controller: appState
                    showsWholePicture: cropOverlay.active
                }
                // A press on the camera bubble drags it; a press elsewhere goes on to what lies below.
                MouseArea {
                    objectName: "cameraBubbleArea"
                    anchors.fill: preview
                    enabled: !!appState.currentProject.hasCamera && appState.renderSettings.cameraVisible
                    preventStealing: true
                    property point last
                    onPressed: (mouse) => {
                        last = Qt.point(mouse.x, mouse.y)
                        mouse.accepted = preview.pressCameraBubble(mouse.x, mouse.y)
                    }
                    onPositionChanged: (mouse) => {
                        last = Qt.point(mouse.x, mouse.y)
                        preview.dragCameraBubble(mouse.x, mouse.y)
                    }
                    onReleased: (mouse) => preview.releaseCameraBubble(mouse.x, mouse.y)
                    onCanceled: preview.releaseCameraBubble(last.x, last.y)
                }
                // With a segment selected on the timeline, a press or drag on the picture moves its focus point.
                MouseArea {
                    objectName: "focusPointArea"
                    anchors.fill: preview
                    enabled: timelineView.selected >= 0
                    cursorShape: enabled ? Qt.CrossCursor : Qt.ArrowCursor
                    property point marker: Qt.point(-100, -100)
                    onPressed: (mouse) => marker = Qt.point(mouse.x, mouse.y)
                    onPositionChanged: (mouse) => marker = Qt.point(mouse.x, mouse.y)
                    onReleased: (mouse) => {
                        const point = preview.videoPointAt(mouse.x, mouse.y)
                        marker = Qt.point(-100, -100)
                        if (point.x !== undefined) appState.setTimelineSegmentFocus(timelineView.selected, point.x, point.y)
                    }
                    Rectangle {
                        visible: parent.pressed
                        x: parent.marker.x - 9
                        y: parent.marker.y - 9
                        width: 18
                        height: 18
                        radius: 9
                        color: "transparent"
                        border.color: Theme.warning
                        border.width: 2
                    }
                }
                // The selected text callout, framed where the export draws it; dragging the frame
                // places the callout's centre there (one undo step at the release).
                Rectangle {
                    id: calloutFrame
                    objectName: "textCalloutFrame"
                    readonly property int calloutIndex: timelineView.selectedText
                    // The export's rectangle on the output frame, scaled to the preview's canvas.
                    readonly property real scale: preview.canvasRect.width / Math.max(1, appState.renderSettings.outputWidth)
                    readonly property rect output: calloutIndex >= 0 && appState.currentProject.textCallouts
                        ? appState.textCalloutRect(calloutIndex, appState.renderSettings.outputWidth, appState.renderSettings.outputHeight)
                        : Qt.rect(0, 0, 0, 0)
                    readonly property rect placed: Qt.rect(output.x * scale, output.y * scale, output.width * scale, output.height * scale)
                    property point dragOffset: Qt.point(0, 0)
                    visible: placed.width > 0
                    x: preview.x + preview.canvasRect.x + placed.x + dragOffset.x
                    y: preview.y + preview.canvasRect.y + placed.y + dragOffset.y
                    width: placed.width
                    height: placed.height
                    color: "transparent"
                    border.color: Theme.warning
                    border.width: 2
                    radius: 4
                    MouseArea {
                        anchors.fill: parent
                        cursorShape: Qt.SizeAllCursor
                        preventStealing: true
                        property point pressed
                        onPressed: (mouse) => pressed = Qt.point(mouse.x, mouse.y)
                        onPositionChanged: (mouse) => calloutFrame.dragOffset = Qt.point(
                            calloutFrame.dragOffset.x + mouse.x - pressed.x, calloutFrame.dragOffset.y + mouse.y - pressed.y)
                        onReleased: {
                            const canvas = preview.canvasRect
                            const centreX = calloutFrame.placed.x + calloutFrame.placed.width / 2 + calloutFrame.dragOffset.x
                            const centreY = calloutFrame.placed.y + calloutFrame.placed.height / 2 + calloutFrame.dragOffset.y
                            calloutFrame.dragOffset = Qt.point(0, 0)
                            appState.moveTextCallout(calloutFrame.calloutIndex,
                                                     Math.max(0, Math.min(1, centreX / canvas.width)),
                                                     Math.max(0, Math.min(1, centreY / canvas.height)))
                        }
                    }
                }
                // "隐私模糊": a drag on the picture marks a rectangle to obscure from the playhead on.
                MouseArea {
                    id: blurDraw
                    objectName: "blurDrawArea"
                    anchors.fill: preview
                    property bool drawing: false
                    property point from
                    property point to
                    enabled: drawing
                    cursorShape: enabled ? Qt.CrossCursor : Qt.ArrowCursor
                    onPressed: (mouse) => { from = Qt.point(mouse.x, mouse.y); to = from }
                    onPositionChanged: (mouse) => to = Qt.point(mouse.x, mouse.y)
                    onReleased: {
                        drawing = false
                        const a = preview.videoPointAt(from.x, from.y)
                        const b = preview.videoPointAt(to.x, to.y)
                        if (a.x !== undefined && b.x !== undefined) appState.addBlurRegion(preview.currentTime, a.x, a.y, b.x, b.y)
                    }
                    Rectangle {
                        visible: parent.pressed
                        x: Math.min(parent.from.x, parent.to.x)
                        y: Math.min(parent.from.y, parent.to.y)
                        width: Math.abs(parent.to.x - parent.from.x)
                        height: Math.abs(parent.to.y - parent.from.y)
                        color: "#40f59e0b"
                        border.color: Theme.warning
                        border.width: 2
                    }
                }
                CropOverlay {
                    id: cropOverlay
                    objectName: "cropOverlay"
                    preview: preview
                    x: preview.x
                    y: preview.y
                    width: preview.width
                    height: preview.height
                }
                Text {
                    anchors.centerIn: parent
                    visible: !preview.ready
                    text: "正在生成预览..."
                    color: Theme.secondaryText
                    font.pixelSize: 15
                }
            }

            // In place of the playback row, with buttons as tall as its own, so the picture stays put.
            CropControls {
                objectName: "cropControls"
                Layout.fillWidth: true
                visible: cropOverlay.active
                overlay: cropOverlay
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 12
                visible: !cropOverlay.active
                VantileButton {
                    objectName: "playButton"
                    text: preview.playing ? "暂停" : "播放"
                    variant: "primary"
                    Layout.preferredWidth: 92
                    onClicked: preview.togglePlayback()
                }
                Slider {
                    id: timeline
                    Layout.fillWidth: true
                    from: 0
                    to: Math.max(preview.duration, 0.001)
                    onPressedChanged: preview.handleScrubbing(pressed, value)
                    onMoved: preview.scrubTo(value)
                    Binding on value {
                        when: !timeline.pressed
                        value: preview.currentTime
                    }
                    background: Rectangle {
                        x: timeline.leftPadding
                        y: timeline.topPadding + timeline.availableHeight / 2 - height / 2
                        width: timeline.availableWidth
                        height: 6
                        radius: 3
                        color: Theme.panelRaised
                        Rectangle { width: timeline.visualPosition * parent.width; height: parent.height; radius: 3; color: Theme.accent }
                    }
                    handle: Rectangle {
                        x: timeline.leftPadding + timeline.visualPosition * (timeline.availableWidth - width)
                        y: timeline.topPadding + timeline.availableHeight / 2 - height / 2
                        width: 16; height: 16; radius: 8
                        color: timeline.pressed ? "#dbeafe" : "white"
                    }
                }
                VantileButton {
                    objectName: "cropButton"
                    text: "裁剪"
                    variant: "darkSecondary"
                    enabled: preview.ready
                    onClicked: cropOverlay.begin()
                }
                VantileButton {
                    objectName: "privacyBlurButton"
                    text: blurDraw.drawing ? "取消框选" : "隐私模糊"
                    variant: "darkSecondary"
                    enabled: preview.ready
                    onClicked: blurDraw.drawing = !blurDraw.drawing
                }
                Text {
                    objectName: "playbackTime"
                    // The finished movie's time: after the trim and without the cuts.
                    text: preview.formatPlaybackTime(preview.outputTime) + " / " + preview.formatPlaybackTime(preview.outputDuration)
                    color: Theme.secondaryText
                    font.pixelSize: 13
                    font.family: "DejaVu Sans Mono"
                }
            }

            TimelineView {
                id: timelineView
                objectName: "timelineView"
                Layout.fillWidth: true
                preview: preview
            }

            Text {
                visible: !view.compact
                text: "实时预览使用原始录制；点击导出时生成最终镜头。"
                color: Theme.secondaryText
                font.pixelSize: 13
            }
            Text {
                objectName: "projectLine"
                text: (appState.currentProject.focusSegmentCount || 0) + " focus segments · " + appState.videoReferenceText
                color: Theme.tertiaryText
                font.pixelSize: 12
            }
            Text {
                visible: preview.failure.length > 0
                text: "无法读取原始录制：" + preview.failure
                color: Theme.warning
                font.pixelSize: 12
                elide: Text.ElideRight
                Layout.fillWidth: true
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: 12
                VantileButton {
                    objectName: "exportButton"
                    text: "导出 MP4"
                    variant: "primary"
                    enabled: !appState.isBusy
                    onClicked: exportDialog.ask(false)
                }
                VantileButton {
                    objectName: "exportGifButton"
                    text: "导出 GIF"
                    variant: "darkSecondary"
                    enabled: !appState.isBusy
                    onClicked: exportDialog.ask(true)
                }
                ProgressBar {
                    id: exportBar
                    objectName: "exportProgress"
                    visible: appState.isExporting
                    Layout.fillWidth: true
                    from: 0
                    to: 1
                    value: appState.exportProgress
                    background: Rectangle { implicitHeight: 8; radius: 4; color: Theme.panelRaised }
                    contentItem: Item {
                        Rectangle {
                            width: exportBar.visualPosition * parent.width
                            height: parent.height
                            radius: 4
                            color: Theme.accent
                        }
                    }
                }
                Text {
                    visible: appState.isExporting
                    text: Math.round(appState.exportProgress * 100) + "%"
                    color: Theme.secondaryText
                    font.pixelSize: 13
                }
                VantileButton {
                    objectName: "cancelExportButton"
                    visible: appState.isExporting
                    text: "取消"
                    variant: "darkSecondary"
                    onClicked: appState.cancelExport()
                }
                Item { visible: !appState.isExporting; Layout.fillWidth: true }
            }
            ExportsList {
                objectName: "exportsPanel"
                Layout.fillWidth: true
                rows: view.compact ? 1 : 3
            }
        }

        Rectangle {
            Layout.preferredWidth: 330
            Layout.fillHeight: true
            radius: Theme.radius
            color: Theme.panel
            border.color: Theme.border
            PreviewSettingsPanel {
                objectName: "previewSettingsPanel"
                anchors.fill: parent
                selectedText: timelineView.selectedText
                anchors.margins: 18
                // An export renders the settings it started with.
                enabled: !appState.isBusy
            }
        }
    }

    // Where to save: the desktop's save dialog; replacing a file is asked by Vantile itself,
    // the same with every dialog.
    FileDialog {
        id: exportDialog
        objectName: "exportDialog"
        property bool gif: false
        title: gif ? "导出 GIF" : "导出 MP4"
        fileMode: FileDialog.SaveFile
        options: FileDialog.DontConfirmOverwrite
        acceptLabel: "保存"
        rejectLabel: "取消"
        nameFilters: appState.exportNameFilters(gif)
        onAccepted: appState.exportTo(selectedFile, selectedNameFilter.extensions.length > 0 ? selectedNameFilter.extensions[0] : "")

        function ask(asGif) {
            gif = asGif
            currentFolder = appState.exportFolder()
            selectedFile = appState.suggestedExportFile(asGif)
            open()
        }
    }

    QuestionDialog {
        objectName: "replaceDialog"
        visible: appState.replaceQuestion.length > 0
        message: appState.replaceQuestion
        acceptText: "替换"
        acceptVariant: "danger"
        rejectText: "取消"
        onAcceptClicked: appState.confirmReplace()
        onRejectClicked: appState.cancelReplace()
    }
}
