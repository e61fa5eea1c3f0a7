import QtQuick
import QtQuick.Layouts

// The crop mode's row under the preview: the common ratios, then "应用裁剪" (one undo step),
// "整幅画面" (no crop) and "取消" (the project as it was).
RowLayout {
    id: controls
    required property var overlay
    spacing: 6
    Repeater {
        model: [["自由", 0], ["16:9", 16 / 9], ["4:3", 4 / 3], ["1:1", 1], ["9:16", 9 / 16]]
        delegate: VantileButton {
            required property var modelData
            text: modelData[0]
            variant: Math.abs(controls.overlay.ratio - modelData[1]) < 1e-6 ? "primary" : "darkSecondary"
            onClicked: controls.overlay.holdRatio(modelData[1])
        }
    }
    Item { Layout.fillWidth: true }
    VantileButton { objectName: "applyCropButton"; text: "应用裁剪"; variant: "primary"; onClicked: controls.overlay.apply() }
    VantileButton {
        objectName: "wholePictureButton"
        text: "整幅画面"
        variant: "darkSecondary"
        onClicked: { controls.overlay.active = false; appState.clearCrop() }
    }
    VantileButton { text: "取消"; variant: "darkSecondary"; onClicked: controls.overlay.active = false }
}
