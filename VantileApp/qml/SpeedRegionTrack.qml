import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantile
import "."

// The speed track under the timeline: each region a bar labelled with its speed, its edges
// dragged, a click for the speed menu; the idle finder's proposals as dashed bars to take
// one by one or all at once. Times are recording seconds, on the timeline's own axis.
Item {
    id: root
    property var timeline
    readonly property var regions: timeline.project.speedRegions || []
    readonly property var proposals: appState.idleProposals
    readonly property var speeds: [0.25, 0.5, 0.75, 1.5, 2, 4, 8, 16]
    property int chosen: -1
    implicitHeight: lane.height

    function speedLabel(speed) { return Number(speed).toString() + "×" }

    Rectangle {
        id: lane
        objectName: "speedTrack"
        width: root.width
        height: 22
        radius: 4
        color: Theme.panelRaised
        border.color: Theme.border
        clip: true

        Text {
            anchors.verticalCenter: parent.verticalCenter
            x: 6
            visible: root.regions.length === 0 && root.proposals.length === 0
            text: "变速"
            color: Theme.tertiaryText
            font.pixelSize: 11
        }

        Repeater {
            model: root.proposals
            delegate: Rectangle {
                objectName: "idleProposal"
                x: root.timeline.xOf(modelData.start)
                width: Math.max(4, root.timeline.xOf(modelData.end) - x)
                y: 2
                height: lane.height - 4
                radius: 3
                color: "#3022c55e"
                border.color: Theme.success
                Text {
                    anchors.centerIn: parent
                    visible: parent.width > implicitWidth + 6
                    text: "空闲 " + (modelData.end - modelData.start).toFixed(1) + " s"
                    color: Theme.text
                    font.pixelSize: 10
                }
                MouseArea {
                    anchors.fill: parent
                    onClicked: proposalMenu.openFor(index)
                }
            }
        }

        Repeater {
            model: root.regions
            delegate: Rectangle {
                id: bar
                objectName: "speedRegion"
                readonly property int regionIndex: index
                property real leftOffset: 0
                property real rightOffset: 0
                x: root.timeline.xOf(modelData.start) + leftOffset
                width: Math.max(6, root.timeline.xOf(modelData.end) - root.timeline.xOf(modelData.start) - leftOffset + rightOffset)
                y: 2
                height: lane.height - 4
                radius: 3
                color: modelData.speed > 1 ? "#b45309" : "#0e7490"
                border.color: root.chosen === regionIndex ? "white" : "#0b1020"
                Text {
                    objectName: "speedLabel"
                    anchors.centerIn: parent
                    visible: parent.width > implicitWidth + 6
                    text: modelData.label
                    color: "white"
                    font.pixelSize: 11
                    font.bold: true
                }
                MouseArea {
                    anchors.fill: parent
                    anchors.leftMargin: 5
                    anchors.rightMargin: 5
                    onClicked: { root.chosen = bar.regionIndex; regionMenu.popup() }
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
                        onPressed: (mouse) => { pressX = mouse.x }
                        onPositionChanged: (mouse) => {
                            if (leftEdge) bar.leftOffset += mouse.x - pressX
                            else bar.rightOffset += mouse.x - pressX
                        }
                        onReleased: {
                            const start = root.timeline.timeOf(root.timeline.xOf(modelData.start) + bar.leftOffset)
                            const end = root.timeline.timeOf(root.timeline.xOf(modelData.end) + bar.rightOffset)
                            bar.leftOffset = 0
                            bar.rightOffset = 0
                            appState.changeSpeedRegion(bar.regionIndex, start, end, modelData.speed)
                        }
                    }
                }
            }
        }
    }

    Menu {
        id: regionMenu
        Repeater {
            model: root.speeds
            delegate: MenuItem {
                text: root.speedLabel(modelData)
                onTriggered: {
                    const region = root.regions[root.chosen]
                    if (region) appState.changeSpeedRegion(root.chosen, region.start, region.end, modelData)
                }
            }
        }
        MenuSeparator {}
        MenuItem { text: "删除变速"; onTriggered: { appState.removeSpeedRegion(root.chosen); root.chosen = -1 } }
    }

    Menu {
        id: proposalMenu
        property int proposal: -1
        function openFor(index) { proposal = index; popup() }
        MenuItem { text: "加速 8×"; onTriggered: appState.applyIdleProposals([proposalMenu.proposal], false) }
        MenuItem { text: "剪掉"; onTriggered: appState.applyIdleProposals([proposalMenu.proposal], true) }
    }

    // The timeline's 变速 button opens this: a speed for the selected range, the idle finder,
    // and, once it has proposals, taking or dismissing them all.
    function openActions() { actionsMenu.popup() }
    Menu {
        id: actionsMenu
        Menu {
            title: "选区变速"
            enabled: root.timeline.hasRange
            Repeater {
                model: root.speeds
                delegate: MenuItem {
                    text: root.speedLabel(modelData)
                    onTriggered: appState.addSpeedRegion(root.timeline.rangeStart, root.timeline.rangeEnd, modelData)
                }
            }
        }
        MenuItem {
            objectName: "findIdle"
            text: appState.isFindingIdle ? "正在查找空闲片段…" : "查找空闲片段"
            enabled: !appState.isFindingIdle
            onTriggered: appState.findIdleStretches(3)
        }
        MenuItem {
            enabled: root.proposals.length > 0
            text: "空闲片段全部加速 8×"
            onTriggered: appState.applyIdleProposals(root.proposals.map((_, i) => i), false)
        }
        MenuItem {
            enabled: root.proposals.length > 0
            text: "空闲片段全部剪掉"
            onTriggered: appState.applyIdleProposals(root.proposals.map((_, i) => i), true)
        }
        MenuItem {
            enabled: root.proposals.length > 0
            text: "忽略空闲片段"
            onTriggered: appState.dismissIdleProposals()
        }
    }
}
