import QtQuick

// Choosing the crop over the whole recording: a frame with corner handles that is dragged or
// resized, optionally held to a common ratio (CropControls offers the ratios and the actions).
Item {
    id: overlay
    required property var preview
    property bool active: false
    readonly property real videoWidth: appState.currentProject ? appState.currentProject.videoWidth : 1
    readonly property real videoHeight: appState.currentProject ? appState.currentProject.videoHeight : 1
    readonly property int smallestSide: 64
    property rect area: Qt.rect(0, 0, 0, 0)
    readonly property real scale: area.width / Math.max(1, videoWidth)
    property real ratio: 0  // width / height; 0 leaves it free
    // The frame being chosen, in raw-video pixels.
    property real cropX: 0
    property real cropY: 0
    property real cropWidth: 1
    property real cropHeight: 1
    visible: active

    function begin() {
        const crop = appState.currentProject ? appState.currentProject.crop : undefined
        if (crop) {
            cropX = crop.x; cropY = crop.y; cropWidth = crop.width; cropHeight = crop.height
        } else {
            cropX = 0; cropY = 0; cropWidth = videoWidth; cropHeight = videoHeight
        }
        ratio = 0
        active = true
        area = preview.wholePictureArea()
    }
    function apply() {
        active = false
        if (cropX <= 0 && cropY <= 0 && cropWidth >= videoWidth && cropHeight >= videoHeight) appState.clearCrop()
        else appState.setCrop(cropX, cropY, cropWidth, cropHeight)
    }
    // The largest frame of `wanted` ratio inside the current one, about the same centre.
    function holdRatio(wanted) {
        ratio = wanted
        if (wanted <= 0) return
        let width = cropWidth
        let height = width / wanted
        if (height > cropHeight) { height = cropHeight; width = height * wanted }
        cropX += (cropWidth - width) / 2
        cropY += (cropHeight - height) / 2
        cropWidth = width
        cropHeight = height
    }
    // A corner (right when `right`, bottom when `bottom`) dragged to the video point (x, y); the
    // opposite corner stays.
    function resizeCorner(right, bottom, x, y) {
        const fixedX = right ? cropX : cropX + cropWidth
        const fixedY = bottom ? cropY : cropY + cropHeight
        const roomX = right ? videoWidth - fixedX : fixedX
        const roomY = bottom ? videoHeight - fixedY : fixedY
        let width = Math.min(roomX, Math.max(smallestSide, right ? x - fixedX : fixedX - x))
        let height = Math.min(roomY, Math.max(smallestSide, bottom ? y - fixedY : fixedY - y))
        if (ratio > 0) {
            height = width / ratio
            if (height > roomY) { height = roomY; width = height * ratio }
        }
        cropX = right ? fixedX : fixedX - width
        cropY = bottom ? fixedY : fixedY - height
        cropWidth = width
        cropHeight = height
    }

    Connections {
        target: overlay.preview
        function onCanvasRectChanged() { if (overlay.active) overlay.area = overlay.preview.wholePictureArea() }
    }

    // What is cut away is dimmed.
    Rectangle { color: "#99000000"; x: overlay.area.x; y: overlay.area.y; width: overlay.area.width; height: frame.y - overlay.area.y }
    Rectangle { color: "#99000000"; x: overlay.area.x; y: frame.y + frame.height; width: overlay.area.width; height: overlay.area.y + overlay.area.height - y }
    Rectangle { color: "#99000000"; x: overlay.area.x; y: frame.y; width: frame.x - overlay.area.x; height: frame.height }
    Rectangle { color: "#99000000"; x: frame.x + frame.width; y: frame.y; width: overlay.area.x + overlay.area.width - x; height: frame.height }

    Rectangle {
        id: frame
        objectName: "cropFrame"
        x: overlay.area.x + overlay.cropX * overlay.scale
        y: overlay.area.y + overlay.cropY * overlay.scale
        width: overlay.cropWidth * overlay.scale
        height: overlay.cropHeight * overlay.scale
        color: "transparent"
        border.color: "white"
        border.width: 2
        MouseArea {
            anchors.fill: parent
            cursorShape: Qt.SizeAllCursor
            preventStealing: true
            property point last
            onPressed: (mouse) => last = mapToItem(overlay, mouse.x, mouse.y)
            onPositionChanged: (mouse) => {
                const now = mapToItem(overlay, mouse.x, mouse.y)
                const scale = Math.max(overlay.scale, 1e-6)
                overlay.cropX = Math.max(0, Math.min(overlay.videoWidth - overlay.cropWidth, overlay.cropX + (now.x - last.x) / scale))
                overlay.cropY = Math.max(0, Math.min(overlay.videoHeight - overlay.cropHeight, overlay.cropY + (now.y - last.y) / scale))
                last = now
            }
        }
        Repeater {
            model: [[false, false], [true, false], [false, true], [true, true]]
            delegate: Rectangle {
                required property var modelData
                width: 14
                height: 14
                x: (modelData[0] ? frame.width : 0) - width / 2
                y: (modelData[1] ? frame.height : 0) - height / 2
                color: "white"
                border.color: Theme.accent
                MouseArea {
                    anchors.fill: parent
                    anchors.margins: -6
                    preventStealing: true
                    cursorShape: parent.modelData[0] === parent.modelData[1] ? Qt.SizeFDiagCursor : Qt.SizeBDiagCursor
                    onPositionChanged: (mouse) => {
                        const point = mapToItem(overlay, mouse.x, mouse.y)
                        const scale = Math.max(overlay.scale, 1e-6)
                        overlay.resizeCorner(parent.modelData[0], parent.modelData[1],
                                             (point.x - overlay.area.x) / scale, (point.y - overlay.area.y) / scale)
                    }
                }
            }
        }
        Text {
            anchors.centerIn: parent
            text: Math.round(overlay.cropWidth) + " × " + Math.round(overlay.cropHeight)
            color: "white"
            font.pixelSize: 13
            style: Text.Outline
            styleColor: "#80000000"
        }
    }
}
