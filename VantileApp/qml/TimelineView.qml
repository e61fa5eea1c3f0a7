import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// The editing timeline under the preview: layout and gestures only; every edit goes to appState.
ColumnLayout {
    id: root
    property var preview
    readonly property var project: appState.currentProject
    readonly property real duration: project.duration || 0
    readonly property var segments: project.segments || []
    property int selected: -1
    property real rangeStart: 0
    property real rangeEnd: 0
    readonly property bool hasRange: Math.abs(rangeEnd - rangeStart) > 0.05
    spacing: 8

    function xOf(time) { return duration > 0 ? time / duration * track.width : 0 }
    function timeOf(x) { return duration > 0 ? Math.max(0, Math.min(duration, x / track.width * duration)) : 0 }
    // Edits re-sort the segments; keep the selection on the edited one that now starts there.
    function reselect(start) {
        selected = -1
        for (let i = 0; i < segments.length; ++i) {
            if (segments[i].edited && Math.abs(segments[i].start - start) < 0.01) selected = i
        }
    }

    Shortcut { sequence: "Ctrl+Z"; onActivated: appState.undoTimelineEdit() }
    Shortcut { sequence: "Ctrl+Shift+Z"; onActivated: appState.redoTimelineEdit() }
    Shortcut {
        sequence: "Delete"
        enabled: root.selected >= 0
        onActivated: { appState.removeTimelineSegment(root.selected); root.selected = -1 }
    }

    Rectangle {
        id: track
        objectName: "timelineTrack"
        Layout.fillWidth: true
        Layout.preferredHeight: 64
        radius: 6
        color: Theme.panelRaised
        border.color: Theme.border
        clip: true

        // Press and drag on empty track selects a range; a click moves the playhead; a double click adds a zoom.
        MouseArea {
            anchors.fill: parent
            onPressed: (mouse) => {
                root.selected = -1
                root.rangeStart = root.rangeEnd = root.timeOf(mouse.x)
                if (root.preview) root.preview.scrubTo(root.rangeStart)
            }
            onPositionChanged: (mouse) => root.rangeEnd = root.timeOf(mouse.x)
            onDoubleClicked: (mouse) => appState.addTimelineSegment(root.timeOf(mouse.x))
        }

        Repeater {
            model: root.segments
            delegate: Rectangle {
                id: block
                readonly property int segmentIndex: index
                property real moveOffset: 0
                property real leftOffset: 0
                property real rightOffset: 0
                x: root.xOf(modelData.start) + moveOffset + leftOffset
                width: Math.max(6, root.xOf(modelData.end) - root.xOf(modelData.start) - leftOffset + rightOffset)
                y: 12
                height: 40
                radius: 4
                color: modelData.edited ? Theme.accentStrong : (modelData.scale > 1.01 ? "#475569" : "#2b3650")
                border.width: segmentIndex === root.selected ? 2 : 0
                border.color: "white"
                Text {
                    anchors.centerIn: parent
                    visible: parent.width > 34
                    text: "×" + Number(modelData.scale).toFixed(1)
                    color: Theme.text
                    font.pixelSize: 11
                }
                MouseArea {
                    anchors.fill: parent
                    anchors.leftMargin: 5
                    anchors.rightMargin: 5
                    property real pressX: 0
                    onPressed: (mouse) => { root.selected = block.segmentIndex; pressX = mouse.x }
                    onPositionChanged: (mouse) => block.moveOffset += mouse.x - pressX
                    onReleased: {
                        const moved = block.moveOffset
                        block.moveOffset = 0
                        if (Math.abs(moved) < 2) return
                        const start = modelData.start + moved / track.width * root.duration
                        appState.moveTimelineSegment(block.segmentIndex, start)
                        root.reselect(Math.max(0, start))
                    }
                }
                Repeater {
                    model: 2
                    delegate: MouseArea {
                        readonly property bool leftEdge: index === 0
                        x: leftEdge ? 0 : block.width - 5
                        width: 5
                        height: block.height
                        cursorShape: Qt.SizeHorCursor
                        property real pressX: 0
                        onPressed: (mouse) => { pressX = mouse.x }
                        onPositionChanged: (mouse) => {
                            if (leftEdge) block.leftOffset += mouse.x - pressX
                            else block.rightOffset += mouse.x - pressX
                        }
                        onReleased: {
                            const start = modelData.start + block.leftOffset / track.width * root.duration
                            const end = modelData.end + block.rightOffset / track.width * root.duration
                            block.leftOffset = 0
                            block.rightOffset = 0
                            appState.resizeTimelineSegment(block.segmentIndex, start, end)
                            root.reselect(start)
                        }
                    }
                }
            }
        }

        // Removed stretches: the trimmed ends and the cuts.
        Rectangle { x: 0; width: root.xOf(root.project.trimStart || 0); height: parent.height; color: "#b0050810" }
        Rectangle {
            x: root.xOf(root.project.trimEnd || 0)
            width: track.width - x
            height: parent.height
            color: "#b0050810"
        }
        Repeater {
            model: root.project.cuts || []
            delegate: Rectangle {
                x: root.xOf(modelData.start)
                width: Math.max(2, root.xOf(modelData.end) - x)
                height: track.height
                color: "#a0f43f5e"
                Text { anchors.centerIn: parent; visible: parent.width > 24; text: "✂"; color: "white"; font.pixelSize: 14 }
            }
        }
        Rectangle {
            visible: root.hasRange
            x: root.xOf(Math.min(root.rangeStart, root.rangeEnd))
            width: Math.abs(root.xOf(root.rangeEnd) - root.xOf(root.rangeStart))
            height: parent.height
            color: "#4060a5fa"
            border.color: Theme.accent
        }

        // Trim handles.
        Repeater {
            model: 2
            delegate: Rectangle {
                readonly property bool isStart: index === 0
                property real dragOffset: 0
                x: root.xOf(isStart ? root.project.trimStart || 0 : root.project.trimEnd || 0) - width / 2 + dragOffset
                width: 8
                height: track.height
                radius: 3
                color: Theme.warning
                MouseArea {
                    anchors.fill: parent
                    anchors.margins: -4
                    cursorShape: Qt.SizeHorCursor
                    property real pressX: 0
                    onPressed: (mouse) => { pressX = mouse.x }
                    onPositionChanged: (mouse) => parent.dragOffset += mouse.x - pressX
                    onReleased: {
                        const moved = parent.dragOffset / track.width * root.duration
                        parent.dragOffset = 0
                        const start = (root.project.trimStart || 0) + (isStart ? moved : 0)
                        const end = (root.project.trimEnd || 0) + (isStart ? 0 : moved)
                        appState.setTimelineTrim(Math.max(0, start), Math.min(root.duration, end))
                    }
                }
            }
        }

        Rectangle {
            objectName: "timelinePlayhead"
            x: root.xOf(root.preview ? root.preview.currentTime : 0) - 1
            width: 2
            height: track.height
            color: "white"
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 8
        VantileButton {
            text: "添加缩放"
            variant: "darkSecondary"
            onClicked: appState.addTimelineSegment(root.preview ? root.preview.currentTime : 0)
        }
        VantileButton {
            text: "剪掉选区"
            variant: "darkSecondary"
            enabled: root.hasRange
            onClicked: { appState.cutTimelineRange(root.rangeStart, root.rangeEnd); root.rangeEnd = root.rangeStart }
        }
        VantileButton {
            text: "删除"
            variant: "darkSecondary"
            enabled: root.selected >= 0
            onClicked: { appState.removeTimelineSegment(root.selected); root.selected = -1 }
        }
        VantileButton { text: "撤销"; variant: "darkSecondary"; enabled: appState.canUndo; onClicked: appState.undoTimelineEdit() }
        VantileButton { text: "重做"; variant: "darkSecondary"; enabled: appState.canRedo; onClicked: appState.redoTimelineEdit() }
        Text {
            visible: root.selected >= 0
            text: "缩放深度"
            color: Theme.secondaryText
            font.pixelSize: 12
        }
        Slider {
            id: depth
            objectName: "timelineDepth"
            visible: root.selected >= 0
            Layout.preferredWidth: 140
            from: 1.0
            to: 4.0
            stepSize: 0.1
            Binding on value {
                when: !depth.pressed && root.selected >= 0 && root.selected < root.segments.length
                value: root.segments[root.selected] ? root.segments[root.selected].scale : 1
            }
            onPressedChanged: if (!pressed) appState.setTimelineSegmentDepth(root.selected, value)
        }
        Item { Layout.fillWidth: true }
        Text {
            objectName: "timelineKept"
            text: "保留 " + Number(root.project.keptDuration || 0).toFixed(1) + " s / " + root.duration.toFixed(1) + " s"
            color: Theme.tertiaryText
            font.pixelSize: 12
            font.family: "DejaVu Sans Mono"
        }
    }
}
