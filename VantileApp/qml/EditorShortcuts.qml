import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// The preview screen's keys, and the list that `?` shows. None of them acts while a text
// field has the focus: there the keys are typing.
Item {
    id: root
    property var preview
    // Ctrl+E: the screen asks where to save, as its export button does.
    signal exportRequested()
    property var timeline
    readonly property var focusedItem: Window.activeFocusItem
    // Text fields and areas are the items with a text cursor.
    readonly property bool typing: !!focusedItem && focusedItem.cursorPosition !== undefined
    readonly property bool active: !typing
    readonly property alias helpOpen: help.visible

    readonly property var listing: [
        { keys: "空格", action: "播放 / 暂停" },
        { keys: "← / →", action: "后退 / 前进一帧" },
        { keys: "Shift + ← / →", action: "后退 / 前进一秒" },
        { keys: "Home / End", action: "跳到开头 / 结尾" },
        { keys: "Ctrl + Z", action: "撤销" },
        { keys: "Ctrl + Shift + Z / Ctrl + Y", action: "重做" },
        { keys: "Delete", action: "删除选中的缩放" },
        { keys: "Ctrl + O", action: "打开项目" },
        { keys: "Ctrl + E", action: "导出 MP4" },
        { keys: "?", action: "显示快捷键（Esc 关闭）" }
    ]

    function removeSelectedZoom() {
        if (!timeline || timeline.selected < 0) return
        appState.removeTimelineSegment(timeline.selected)
        timeline.selected = -1
    }

    Shortcut { sequence: "Space"; enabled: root.active; onActivated: root.preview.togglePlayback() }
    Shortcut { sequence: "Left"; enabled: root.active; onActivated: root.preview.stepFrames(-1) }
    Shortcut { sequence: "Right"; enabled: root.active; onActivated: root.preview.stepFrames(1) }
    Shortcut { sequence: "Shift+Left"; enabled: root.active; onActivated: root.preview.stepBy(-1) }
    Shortcut { sequence: "Shift+Right"; enabled: root.active; onActivated: root.preview.stepBy(1) }
    Shortcut { sequence: "Home"; enabled: root.active; onActivated: root.preview.seekToStart() }
    Shortcut { sequence: "End"; enabled: root.active; onActivated: root.preview.seekToEnd() }
    Shortcut { sequence: "Ctrl+Z"; enabled: root.active; onActivated: appState.undoTimelineEdit() }
    Shortcut { sequences: ["Ctrl+Shift+Z", "Ctrl+Y"]; enabled: root.active; onActivated: appState.redoTimelineEdit() }
    Shortcut {
        sequence: "Delete"
        enabled: root.active && !!root.timeline && root.timeline.selected >= 0
        onActivated: root.removeSelectedZoom()
    }
    Shortcut { sequence: "Ctrl+E"; enabled: root.active && !appState.isBusy; onActivated: root.exportRequested() }
    Shortcut { sequence: "?"; enabled: root.active; onActivated: help.visible ? help.close() : help.open() }

    Popup {
        id: help
        objectName: "shortcutHelp"
        anchors.centerIn: parent
        modal: true
        // Escape closes it only while it holds the focus.
        focus: true
        padding: 22
        background: Rectangle { radius: Theme.radius; color: Theme.panel; border.color: Theme.border }
        contentItem: ColumnLayout {
            spacing: 10
            Text { text: "快捷键"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold }
            GridLayout {
                columns: 2
                columnSpacing: 28
                rowSpacing: 8
                Repeater {
                    model: root.listing.length * 2
                    delegate: Text {
                        readonly property var entry: root.listing[Math.floor(index / 2)]
                        text: index % 2 === 0 ? entry.keys : entry.action
                        color: index % 2 === 0 ? Theme.accent : Theme.text
                        font.pixelSize: 13
                        font.family: index % 2 === 0 ? "DejaVu Sans Mono" : Theme.fontFamily
                    }
                }
            }
            Text { text: "在文本框中输入时，快捷键不起作用。"; color: Theme.tertiaryText; font.pixelSize: 12 }
        }
    }
}
