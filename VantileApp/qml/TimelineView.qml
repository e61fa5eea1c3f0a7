import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantile
import "."

// The editing timeline under the preview: layout and gestures only; every edit goes to appState.
ColumnLayout {
    id: root
    property var preview
    readonly property var project: appState.currentProject
    readonly property real duration: project.duration || 0
    readonly property var segments: project.segments || []
    property int selected: -1
    // The text callout selected on the 文字 track (an index of project.textCallouts), or -1.
    property int selectedText: -1
    readonly property var textCallouts: project.textCallouts || []
    property real rangeStart: 0
    property real rangeEnd: 0
    readonly property bool hasRange: Math.abs(rangeEnd - rangeStart) > 0.05
    // Overlapping blocks take rows of their own; past three rows they share the last.
    readonly property int laneCount: Math.max(1, Math.min(project.laneCount || 1, 3))
    readonly property real laneHeight: 24
    // Room for a waveform row per recorded audio track from the start, so nothing moves once the strip is read.
    readonly property real stripHeight: strip.thumbnailHeight + strip.waveformHeight * (project.audioTrackCount || 0)
    spacing: 4

    function xOf(time) { return duration > 0 ? time / duration * track.width : 0 }
    function timeOf(x) { return duration > 0 ? Math.max(0, Math.min(duration, x / track.width * duration)) : 0 }
    // Edits re-sort the segments; keep the selection on the edited one that now starts there.
    function reselect(start) {
        selected = -1
        for (let i = 0; i < segments.length; ++i) {
            if (segments[i].edited && Math.abs(segments[i].start - start) < 0.01) selected = i
        }
    }

    // The ruler counts the finished movie's time; cut stretches show as red bands on it.
    Item {
        id: ruler
        objectName: "timelineRuler"
        Layout.fillWidth: true
        Layout.preferredHeight: 18
        clip: true
        readonly property var ticks: root.project && width > 0 ? appState.timelineRulerTicks(width) : []
        Repeater {
            model: ruler.ticks
            delegate: Item {
                x: root.xOf(modelData.time)
                height: ruler.height
                Rectangle { y: ruler.height - 6; width: 1; height: 6; color: Theme.secondaryText }
                Text {
                    objectName: "rulerLabel"
                    // The last label stays inside the ruler.
                    x: Math.min(3, ruler.width - parent.x - width - 2)
                    y: 0
                    text: modelData.label
                    color: Theme.secondaryText
                    font.pixelSize: 10
                    font.family: "DejaVu Sans Mono"
                }
            }
        }
        Repeater {
            model: root.project.cuts || []
            delegate: Rectangle {
                x: root.xOf(modelData.start)
                y: ruler.height - 3
                width: Math.max(2, root.xOf(modelData.end) - x)
                height: 3
                color: Theme.danger
            }
        }
    }

    Rectangle {
        id: track
        objectName: "timelineTrack"
        Layout.fillWidth: true
        Layout.preferredHeight: root.stripHeight + root.laneCount * root.laneHeight + 6
        radius: 6
        color: Theme.panelRaised
        border.color: Theme.border
        clip: true

        // Pictures and waveforms of the recording, on the same time axis as the blocks.
        TimelineStrip {
            id: strip
            objectName: "timelineStrip"
            x: 0
            y: 0
            width: track.width
            height: root.stripHeight
            movie: appState.previewVideoURL
            duration: root.duration
        }

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

        // Removed stretches, under the blocks so no label is ever covered: the trimmed ends and the cuts.
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
                objectName: "timelineCut"
                x: root.xOf(modelData.start)
                width: Math.max(2, root.xOf(modelData.end) - x)
                height: track.height
                color: "#70f43f5e"
                border.color: Theme.danger
                Text {
                    // In the picture strip, above the blocks' rows.
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: Math.max(0, (strip.thumbnailHeight - height) / 2)
                    visible: parent.width > 16
                    text: "✂"
                    color: "white"
                    font.pixelSize: 14
                }
            }
        }

        Repeater {
            model: root.segments
            delegate: Rectangle {
                id: block
                readonly property int segmentIndex: index
                readonly property bool isSelected: segmentIndex === root.selected
                property real moveOffset: 0
                property real leftOffset: 0
                property real rightOffset: 0
                x: root.xOf(modelData.start) + moveOffset + leftOffset
                width: Math.max(6, root.xOf(modelData.end) - root.xOf(modelData.start) - leftOffset + rightOffset)
                y: root.stripHeight + 4 + Math.min(modelData.lane, root.laneCount - 1) * root.laneHeight
                z: isSelected ? 2 : 1
                height: root.laneHeight - 4
                radius: 4
                color: modelData.edited ? Theme.accentStrong : (modelData.scale > 1.01 ? "#475569" : "#2b3650")
                border.width: isSelected ? 2 : 1
                border.color: isSelected ? "white" : "#0b1020"
                // The selection stays visible however narrow its block: a ring around it.
                Rectangle {
                    visible: block.isSelected
                    anchors.fill: parent
                    anchors.margins: -3
                    radius: 6
                    color: "transparent"
                    border.color: Theme.warning
                    border.width: 1
                }
                Text {
                    objectName: "blockLabel"
                    anchors.centerIn: parent
                    visible: parent.width > implicitWidth + 8
                    text: modelData.depthLabel
                    color: Theme.text
                    font.pixelSize: 11
                }
                MouseArea {
                    anchors.fill: parent
                    anchors.leftMargin: 5
                    anchors.rightMargin: 5
                    property real pressX: 0
                    onPressed: (mouse) => { root.selected = block.segmentIndex; root.selectedText = -1; pressX = mouse.x }
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

        Rectangle {
            visible: root.hasRange
            z: 3
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
                z: 4
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
            z: 5
            x: root.xOf(root.preview ? root.preview.currentTime : 0) - 1
            width: 2
            height: track.height
            color: "white"
        }
    }

    SpeedRegionTrack {
        id: speedTrack
        Layout.fillWidth: true
        Layout.preferredHeight: implicitHeight
        timeline: root
    }

    // The 文字 track: one bar per text callout, labelled with its text; drag it to move it in
    // time, its edges to change its span; a click selects it for the settings panel and the preview.
    Rectangle {
        id: textTrack
        objectName: "textCalloutTrack"
        Layout.fillWidth: true
        Layout.preferredHeight: root.laneHeight + 4
        radius: 6
        color: Theme.panelRaised
        border.color: Theme.border
        clip: true
        Text {
            anchors.verticalCenter: parent.verticalCenter
            x: 6
            text: "文字"
            color: Theme.tertiaryText
            font.pixelSize: 11
            visible: root.textCallouts.length === 0
        }
        Repeater {
            model: root.textCallouts
            delegate: Rectangle {
                id: bar
                objectName: "textCalloutBar"
                readonly property int calloutIndex: index
                readonly property bool isSelected: calloutIndex === root.selectedText
                property real moveOffset: 0
                property real leftOffset: 0
                property real rightOffset: 0
                x: root.xOf(modelData.start) + moveOffset + leftOffset
                width: Math.max(6, root.xOf(modelData.end) - root.xOf(modelData.start) - leftOffset + rightOffset)
                y: 2
                height: root.laneHeight
                radius: 4
                color: isSelected ? "#b45309" : "#92400e"
                border.width: isSelected ? 2 : 1
                border.color: isSelected ? "white" : "#0b1020"
                Text {
                    anchors.fill: parent
                    anchors.leftMargin: 6
                    anchors.rightMargin: 6
                    verticalAlignment: Text.AlignVCenter
                    elide: Text.ElideRight
                    text: modelData.text
                    color: "white"
                    font.pixelSize: 11
                }
                MouseArea {
                    anchors.fill: parent
                    anchors.leftMargin: 5
                    anchors.rightMargin: 5
                    property real pressX: 0
                    onPressed: (mouse) => { root.selectedText = bar.calloutIndex; root.selected = -1; pressX = mouse.x }
                    onPositionChanged: (mouse) => bar.moveOffset += mouse.x - pressX
                    onReleased: {
                        const moved = bar.moveOffset / track.width * root.duration
                        bar.moveOffset = 0
                        if (Math.abs(moved) * track.width < 2 * root.duration) return
                        appState.setTextCalloutSpan(bar.calloutIndex, modelData.start + moved, modelData.end + moved)
                    }
                }
                Repeater {
                    model: 2
                    delegate: MouseArea {
                        readonly property bool leftEdge: index === 0
                        x: leftEdge ? 0 : bar.width - 5
                        width: 5
                        height: bar.height
                        cursorShape: Qt.SizeHorCursor
                        property real pressX: 0
                        onPressed: (mouse) => { pressX = mouse.x; root.selectedText = bar.calloutIndex }
                        onPositionChanged: (mouse) => {
                            if (leftEdge) bar.leftOffset += mouse.x - pressX
                            else bar.rightOffset += mouse.x - pressX
                        }
                        onReleased: {
                            const start = modelData.start + bar.leftOffset / track.width * root.duration
                            const end = modelData.end + bar.rightOffset / track.width * root.duration
                            bar.leftOffset = 0
                            bar.rightOffset = 0
                            appState.setTextCalloutSpan(bar.calloutIndex, start, end)
                        }
                    }
                }
            }
        }
    }

    // Privacy-blur regions on a thin track of their own: drag an edge to change the span, × removes one.
    Item {
        id: blurTrack
        objectName: "blurTrack"
        visible: (root.project.blurRegions || []).length > 0
        Layout.fillWidth: true
        Layout.preferredHeight: visible ? 16 : 0
        Repeater {
            model: root.project.blurRegions || []
            delegate: Rectangle {
                id: blurBlock
                objectName: "blurRegion"
                readonly property int regionIndex: index
                property real leftOffset: 0
                property real rightOffset: 0
                x: root.xOf(modelData.start) + leftOffset
                width: Math.max(12, root.xOf(modelData.end) - root.xOf(modelData.start) - leftOffset + rightOffset)
                height: blurTrack.height
                radius: 3
                color: "#60f59e0b"
                border.color: Theme.warning
                Text {
                    anchors.centerIn: parent
                    visible: parent.width > 30
                    text: "×"
                    color: Theme.text
                    font.pixelSize: 12
                    MouseArea { anchors.fill: parent; anchors.margins: -3; onClicked: appState.removeBlurRegion(blurBlock.regionIndex) }
                }
                Repeater {
                    model: 2
                    delegate: MouseArea {
                        readonly property bool leftEdge: index === 0
                        x: leftEdge ? 0 : blurBlock.width - 6
                        width: 6
                        height: blurBlock.height
                        cursorShape: Qt.SizeHorCursor
                        property real pressX: 0
                        onPressed: (mouse) => { pressX = mouse.x }
                        onPositionChanged: (mouse) => {
                            if (leftEdge) blurBlock.leftOffset += mouse.x - pressX
                            else blurBlock.rightOffset += mouse.x - pressX
                        }
                        onReleased: {
                            const start = modelData.start + blurBlock.leftOffset / track.width * root.duration
                            const end = modelData.end + blurBlock.rightOffset / track.width * root.duration
                            blurBlock.leftOffset = 0
                            blurBlock.rightOffset = 0
                            appState.setBlurRegionSpan(blurBlock.regionIndex, start, end)
                        }
                    }
                }
            }
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 6
        // One button for what can be added at the playhead, so the row fits beside the panel.
        VantileButton {
            objectName: "addAtPlayhead"
            text: "添加…"
            variant: "darkSecondary"
            onClicked: addMenu.popup()
            Menu {
                id: addMenu
                MenuItem {
                    text: "缩放"
                    onTriggered: appState.addTimelineSegment(root.preview ? root.preview.currentTime : 0)
                }
                MenuItem {
                    objectName: "addTextCalloutButton"
                    text: "文字"
                    onTriggered: root.selectedText = appState.addTextCallout(root.preview ? root.preview.currentTime : 0)
                }
            }
        }
        VantileButton {
            text: "剪掉选区"
            variant: "darkSecondary"
            enabled: root.hasRange
            onClicked: { appState.cutTimelineRange(root.rangeStart, root.rangeEnd); root.rangeEnd = root.rangeStart }
        }
        VantileButton {
            objectName: "speedActions"
            text: "变速…"
            variant: "darkSecondary"
            onClicked: speedTrack.openActions()
        }
        VantileButton {
            text: "删除"
            variant: "darkSecondary"
            enabled: root.selected >= 0 || root.selectedText >= 0
            onClicked: {
                if (root.selectedText >= 0) appState.removeTextCallout(root.selectedText)
                else appState.removeTimelineSegment(root.selected)
                root.selected = -1
                root.selectedText = -1
            }
        }
        VantileButton { text: "撤销"; variant: "darkSecondary"; enabled: appState.canUndo; onClicked: appState.undoTimelineEdit() }
        VantileButton { text: "重做"; variant: "darkSecondary"; enabled: appState.canRedo; onClicked: appState.redoTimelineEdit() }
        // Always laid out, shown only with a selection, so selecting never moves the row.
        Text {
            objectName: "selectedDepth"
            opacity: root.selected >= 0 ? 1 : 0
            text: "缩放深度 " + (root.segments[root.selected] ? root.segments[root.selected].depthLabel : "")
            color: Theme.secondaryText
            font.pixelSize: 12
            Layout.preferredWidth: 84
        }
        Slider {
            id: depth
            objectName: "timelineDepth"
            opacity: root.selected >= 0 ? 1 : 0
            enabled: root.selected >= 0
            Layout.preferredWidth: 76
            Layout.preferredHeight: 32
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
