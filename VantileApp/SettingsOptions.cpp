#include "SettingsOptions.h"

#include "BackgroundGallery.h"

#include "model/AudioSettings.h"
#include "model/RenderSettings.h"

#include <QVariantList>

namespace vantile::SettingsOptions {

namespace {

QVariantMap option(std::string_view value, const QString& label)
{
    return {{"value", QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()))}, {"label", label}};
}

}  // namespace

QVariantMap all()
{
    QVariantList aspectRatios;
    for (const AspectRatio ratio : aspectRatioTexts.allCases()) {
        aspectRatios.append(option(aspectRatioTexts.text(ratio), QString::fromStdString(label(ratio))));
    }
    QVariantList resolutions;
    for (const ResolutionPreset preset : resolutionPresetTexts.allCases()) {
        resolutions.append(option(resolutionPresetTexts.text(preset), QString::fromStdString(label(preset))));
    }
    const QVariantList templates{option("minimalDark", "极简深色"), option("gradientBlue", "渐变蓝紫"),
                                 option("cleanLight", "干净浅色")};
    const QVariantList zoomIntensities{option("light", "轻"), option("standard", "标准"), option("strong", "强")};
    const QVariantList cursorThemes{option("systemWhite", "系统白"), option("graphite", "石墨"),
                                    option("electricBlue", "电光蓝"), option("rose", "玫瑰"), option("lime", "青柠")};
    const QVariantList cursorEffects{option("macOS", "经典"), option("halo", "光环"), option("glow", "辉光")};
    // The template's own bar, a Linux window's title bar, or none for a whole screen.
    const QVariantList windowChromes{option("template", "模板默认"), option("linuxTitleBar", "Linux 标题栏"),
                                     option("none", "无")};
    // Classic eases behind the pointer; precise also lands where it rests and clicks.
    const QVariantList cursorSmoothings{option("classic", "柔和"), option("precise", "精准落点")};
    // The shutter's share of a frame; a film camera's 180° is the suggested amount.
    const QVariantList motionBlurs{option("0", "关"), option("0.5", "适中（推荐）"), option("1", "强")};
    // The bubble's shapes, and the corners the panel offers; a place of its own comes from dragging it.
    const QVariantList cameraShapes{option("circle", "圆形"), option("roundedSquare", "圆角方形"),
                                    option("square", "方形")};
    const QVariantList cameraPositions{option("bottomRight", "右下"), option("bottomLeft", "左下"),
                                       option("topRight", "右上"), option("topLeft", "左上")};
    const QVariantList textCalloutStyles{option("title", "标题卡"), option("lowerThird", "下方字幕"),
                                         option("label", "标签")};
    const QVariantList exportQualities{option("draft", "草稿（快）"), option("standard", "标准"),
                                       option("high", "高质量（慢）")};
    // A few calm colours beside the template's own; any other comes from the command line.
    const QVariantList backgroundColors{option("#0B1020", "午夜"), option("#1F2937", "石墨"), option("#F5F7FA", "浅灰"),
                                        option("#FFFFFF", "白"),   option("#2563EB", "蓝"),   option("#7C3AED", "紫"),
                                        option("#059669", "绿"),   option("#F97316", "橙")};
    // A track's level against the recording, in decibels.
    const QVariantList trackVolumes{option("-12", "-12 dB"), option("-6", "-6 dB"), option("0", "原声"),
                                    option("6", "+6 dB"), option("12", "+12 dB")};
    // Which track steps back while the other one sounds.
    const QVariantList duckings{option("none", "不压低"), option("microphone", "有媒体声音时压低麦克风"),
                                option("system", "说话时压低媒体声音")};
    QVariantList frameRates;
    for (const int fps : exportFrameRates) frameRates.append(QVariantMap{{"value", fps}, {"label", QString("%1 fps").arg(fps)}});
    const QVariantList audioModes{
        QVariantMap{{"value", "none"}, {"label", "仅画面"}, {"detail", "只录画面和交互事件。"}},
        QVariantMap{{"value", "system"}, {"label", "媒体声音"}, {"detail", "录制应用、网页或播放器发出的声音。"}},
        QVariantMap{{"value", "microphone"}, {"label", "麦克风"}, {"detail", "录制旁白，内置或外接麦克风都可以。"}},
        QVariantMap{{"value", "systemAndMicrophone"}, {"label", "媒体 + 麦克风"}, {"detail", "同时录制媒体声音和麦克风输入。"}},
    };
    return {
        {"aspectRatios", aspectRatios},   {"resolutions", resolutions},     {"templates", templates},
        {"zoomIntensities", zoomIntensities}, {"cursorThemes", cursorThemes}, {"cursorEffects", cursorEffects},
        {"frameRates", frameRates},       {"audioModes", audioModes},       {"exportQualities", exportQualities},
        {"windowChromes", windowChromes}, {"cursorSmoothings", cursorSmoothings},
        {"cameraShapes", cameraShapes},   {"cameraPositions", cameraPositions}, {"motionBlurs", motionBlurs},
        {"backgroundColors", backgroundColors}, {"generatedBackgrounds", BackgroundGallery::generatedEntries()},
        {"trackVolumes", trackVolumes},   {"duckings", duckings},
        {"textCalloutStyles", textCalloutStyles},
    };
}

}  // namespace vantile::SettingsOptions
