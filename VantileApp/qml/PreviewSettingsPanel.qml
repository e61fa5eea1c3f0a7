import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import "."

// Every control edits one render setting and hands it to the controller.
ScrollView {
    id: panel
    objectName: "settingsScroll"
    contentWidth: availableWidth
    clip: true
    readonly property bool overflows: contentHeight > availableHeight + 1
    // A panel taller than its place says so: the bar stays in sight, with room kept for it.
    rightPadding: overflows ? 14 : 0
    ScrollBar.vertical.policy: overflows ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
    readonly property var settings: appState.renderSettings
    readonly property var options: appState.settingOptions
    // The text callout selected on the timeline, or -1.
    property int selectedText: -1
    readonly property var textCallout: (appState.currentProject.textCallouts || [])[selectedText]

    ColumnLayout {
        width: panel.availableWidth
        spacing: 16

        Text { text: "输出设置"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold }
        SettingPicker {
            Layout.fillWidth: true
            title: "画面比例"
            options: panel.options.aspectRatios
            current: panel.settings.aspectRatio
            onPicked: value => appState.updateAspectRatio(value)
        }
        // Offered where the card would leave much of the frame empty.
        LayoutChoice {
            Layout.fillWidth: true
            objectName: "layoutChoice"
            visible: panel.settings.layout === "fill" || panel.settings.aspectRatio === "portrait9x16"
                     || panel.settings.aspectRatio === "square1x1"
            aspect: panel.settings.outputWidth / Math.max(panel.settings.outputHeight, 1)
            current: panel.settings.layout
            onPicked: value => appState.changeRenderSetting("layout", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "分辨率"
            options: panel.options.resolutions
            current: panel.settings.resolutionPreset
            onPicked: value => appState.updateResolutionPreset(value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "帧率"
            options: panel.options.frameRates
            current: panel.settings.fps
            onPicked: value => appState.changeRenderSetting("fps", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            objectName: "exportQualityPicker"
            title: "导出质量"
            options: panel.options.exportQualities
            current: panel.settings.exportQuality
            onPicked: value => appState.changeRenderSetting("exportQuality", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "模板"
            options: panel.options.templates
            current: panel.settings.templateName
            onPicked: value => appState.changeRenderSetting("templateName", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "缩放强度"
            options: panel.options.zoomIntensities
            current: panel.settings.zoomIntensity
            onPicked: value => appState.changeRenderSetting("zoomIntensity", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "动态模糊"
            options: panel.options.motionBlurs
            current: panel.settings.motionBlur
            onPicked: value => appState.changeRenderSetting("motionBlur", value)
        }
        SettingSwitch {
            Layout.fillWidth: true
            title: "背景"
            checked: panel.settings.backgroundEnabled
            onToggled: value => appState.changeRenderSetting("backgroundEnabled", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "窗口外框"
            options: panel.options.windowChromes
            current: panel.settings.windowChrome
            enabled: panel.settings.backgroundEnabled
            onPicked: value => appState.changeRenderSetting("windowChrome", value)
        }
        SettingSwitch {
            Layout.fillWidth: true
            title: "显示光标"
            checked: panel.settings.showCursor
            onToggled: value => appState.changeRenderSetting("showCursor", value)
        }
        SettingSwitch {
            Layout.fillWidth: true
            title: "点击波纹"
            checked: panel.settings.showClickRipple
            onToggled: value => appState.changeRenderSetting("showClickRipple", value)
        }
        SettingSwitch {
            objectName: "showShortcutsSwitch"
            Layout.fillWidth: true
            visible: (appState.currentProject.shortcutCount || 0) > 0
            title: "快捷键徽标"
            checked: panel.settings.showShortcuts
            onToggled: value => appState.changeRenderSetting("showShortcuts", value)
        }
        // Each recorded shortcut with its time; a click hides its badge or shows it again.
        Flow {
            objectName: "shortcutBadgeList"
            Layout.fillWidth: true
            visible: panel.settings.showShortcuts && (appState.currentProject.shortcutCount || 0) > 0
            spacing: 6
            Repeater {
                model: appState.currentProject.shortcuts || []
                delegate: VantileButton {
                    required property var modelData
                    required property int index
                    objectName: "shortcutBadge" + index
                    compact: true
                    text: Math.floor(modelData.time / 60) + ":" + String(Math.floor(modelData.time % 60)).padStart(2, "0")
                          + " " + modelData.keys
                    variant: modelData.hidden ? "darkSecondary" : "primary"
                    opacity: modelData.hidden ? 0.6 : 1
                    onClicked: appState.setShortcutHidden(index, !modelData.hidden)
                }
            }
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "光标跟随"
            options: panel.options.cursorSmoothings
            current: panel.settings.cursorSmoothing
            enabled: panel.settings.showCursor
            onPicked: value => appState.changeRenderSetting("cursorSmoothing", value)
        }
        SettingSwitch {
            Layout.fillWidth: true
            title: "动态光标大小"
            checked: panel.settings.dynamicCursorScale
            onToggled: value => appState.changeRenderSetting("dynamicCursorScale", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "光标主题"
            options: panel.options.cursorThemes
            current: panel.settings.cursorTheme
            onPicked: value => appState.changeRenderSetting("cursorTheme", value)
        }
        SettingPicker {
            Layout.fillWidth: true
            title: "光标效果"
            options: panel.options.cursorEffects
            current: panel.settings.cursorEffect
            onPicked: value => appState.changeRenderSetting("cursorEffect", value)
        }

        FrameLookSection {
            Layout.fillWidth: true
            settings: panel.settings
            options: panel.options
        }

        // How the recorded tracks sound in the export, only for a recording with sound.
        ColumnLayout {
            objectName: "soundSection"
            visible: (appState.currentProject.audioTrackCount || 0) > 0
            Layout.fillWidth: true
            spacing: 16

            Text { text: "声音"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold; Layout.topMargin: 8 }
            SettingSwitch {
                Layout.fillWidth: true
                objectName: "normalizeLoudnessSwitch"
                title: "响度统一（-16 LUFS）"
                checked: panel.settings.normalizeLoudness
                onToggled: value => appState.changeRenderSetting("normalizeLoudness", value)
            }
            SettingSwitch {
                Layout.fillWidth: true
                title: "降噪"
                checked: panel.settings.reduceNoise
                onToggled: value => appState.changeRenderSetting("reduceNoise", value)
            }
            SettingSwitch {
                Layout.fillWidth: true
                visible: !!appState.currentProject.hasSystemAudio
                title: "媒体声音静音"
                checked: panel.settings.systemAudioMuted
                onToggled: value => appState.changeRenderSetting("systemAudioMuted", value)
            }
            SettingPicker {
                Layout.fillWidth: true
                visible: !!appState.currentProject.hasSystemAudio
                enabled: !panel.settings.systemAudioMuted
                title: "媒体声音音量"
                options: panel.options.trackVolumes
                current: panel.settings.systemAudioVolume
                onPicked: value => appState.changeRenderSetting("systemAudioVolume", value)
            }
            SettingSwitch {
                Layout.fillWidth: true
                visible: !!appState.currentProject.hasMicrophone
                title: "麦克风静音"
                checked: panel.settings.microphoneMuted
                onToggled: value => appState.changeRenderSetting("microphoneMuted", value)
            }
            SettingPicker {
                Layout.fillWidth: true
                visible: !!appState.currentProject.hasMicrophone
                enabled: !panel.settings.microphoneMuted
                title: "麦克风音量"
                options: panel.options.trackVolumes
                current: panel.settings.microphoneVolume
                onPicked: value => appState.changeRenderSetting("microphoneVolume", value)
            }
            SettingPicker {
                Layout.fillWidth: true
                visible: (appState.currentProject.audioTrackCount || 0) > 1
                title: "自动压低"
                options: panel.options.duckings
                current: panel.settings.duckedTrack
                onPicked: value => appState.changeRenderSetting("duckedTrack", value)
            }
        }

        // The selected text callout's words and style; each change is one undo step.
        ColumnLayout {
            objectName: "textCalloutSection"
            visible: !!panel.textCallout
            Layout.fillWidth: true
            spacing: 16

            Text { text: "文字"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold; Layout.topMargin: 8 }
            TextField {
                id: calloutText
                objectName: "textCalloutField"
                Layout.fillWidth: true
                text: panel.textCallout ? panel.textCallout.text : ""
                color: Theme.text
                placeholderText: "输入文字"
                onEditingFinished: if (panel.textCallout && text !== panel.textCallout.text) appState.setTextCalloutText(panel.selectedText, text)
            }
            SettingPicker {
                Layout.fillWidth: true
                objectName: "textCalloutStylePicker"
                title: "样式"
                options: panel.options.textCalloutStyles
                current: panel.textCallout ? panel.textCallout.style : ""
                onPicked: value => appState.setTextCalloutStyle(panel.selectedText, value)
            }
        }

        // The presenter's bubble, only for a recording with a camera; every change is undoable.
        ColumnLayout {
            objectName: "cameraSection"
            visible: !!appState.currentProject.hasCamera
            Layout.fillWidth: true
            spacing: 16

            Text { text: "摄像头"; color: Theme.text; font.pixelSize: 17; font.weight: Font.Bold; Layout.topMargin: 8 }
            SettingSwitch {
                Layout.fillWidth: true
                objectName: "cameraVisibleSwitch"
                title: "显示摄像头"
                checked: panel.settings.cameraVisible
                onToggled: value => appState.changeCameraBubble("cameraVisible", value)
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 6
                enabled: panel.settings.cameraVisible
                RowLayout {
                    Layout.fillWidth: true
                    Text { text: "大小"; color: Theme.secondaryText; font.pixelSize: 12; font.weight: Font.DemiBold; Layout.fillWidth: true }
                    Text { text: Math.round(sizeSlider.value * 100) + "%"; color: Theme.tertiaryText; font.pixelSize: 12 }
                }
                Slider {
                    id: sizeSlider
                    objectName: "cameraSizeSlider"
                    Layout.fillWidth: true
                    from: 0.12
                    to: 0.5
                    // A drag of the slider is one undo step.
                    onPressedChanged: pressed ? appState.beginCameraBubbleGesture() : appState.endCameraBubbleGesture()
                    onMoved: appState.changeCameraBubble("cameraSize", value)
                    Binding on value {
                        when: !sizeSlider.pressed
                        value: panel.settings.cameraSize
                    }
                }
            }
            SettingPicker {
                Layout.fillWidth: true
                title: "形状"
                options: panel.options.cameraShapes
                current: panel.settings.cameraShape
                enabled: panel.settings.cameraVisible
                onPicked: value => appState.changeCameraBubble("cameraShape", value)
            }
            SettingPicker {
                Layout.fillWidth: true
                title: "位置"
                options: panel.options.cameraPositions
                current: panel.settings.cameraPosition
                enabled: panel.settings.cameraVisible
                onPicked: value => appState.changeCameraBubble("cameraPosition", value)
            }
            SettingSwitch {
                Layout.fillWidth: true
                title: "镜像"
                checked: panel.settings.cameraMirror
                enabled: panel.settings.cameraVisible
                onToggled: value => appState.changeCameraBubble("cameraMirror", value)
            }
            SettingSwitch {
                Layout.fillWidth: true
                title: "阴影"
                checked: panel.settings.cameraShadow
                enabled: panel.settings.cameraVisible
                onToggled: value => appState.changeCameraBubble("cameraShadow", value)
            }
        }
    }
}
