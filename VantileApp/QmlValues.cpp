#include "QmlValues.h"

#include "ProjectThumbnails.h"
#include "engine/OutputTimeline.h"
#include "engine/RecordingDurationFormatter.h"
#include "engine/ShortcutBadgeEdits.h"
#include "engine/TimelineLayout.h"

#include <QUrl>

#include <algorithm>
#include <cmath>

namespace vantile::QmlValues {

QVariantMap permissionStatus(const PermissionStatus& status)
{
    return {
        {"screenRecordingGranted", status.screenRecordingGranted},
        {"accessibilityGranted", status.accessibilityGranted},
        {"inputMonitoringGranted", status.inputMonitoringGranted},
        {"inputHelperOffered", status.inputHelperOffered},
        {"allGranted", status.allGranted()},
        {"missingPermissionMessage", QString::fromStdString(status.missingPermissionMessage())},
    };
}

QVariantList sources(const std::vector<CaptureSource>& sources)
{
    QVariantList list;
    for (const auto& source : sources) {
        list.append(QVariantMap{
            {"id", QString::fromStdString(source.id)},
            {"kind", text(sourceKindTexts, source.kind)},
            {"title", QString::fromStdString(source.title)},
            {"appName", QString::fromStdString(source.appName)},
            {"x", source.region.x},
            {"y", source.region.y},
            {"width", source.region.width},
            {"height", source.region.height},
        });
    }
    return list;
}

namespace {

// Each callout for the 文字 track and the settings panel; x and y are -1 where the style places it.
QVariantList textCallouts(const std::vector<TextCallout>& list)
{
    QVariantList values;
    for (const TextCallout& callout : list) {
        values.append(QVariantMap{{"start", callout.start},
                                  {"end", callout.end},
                                  {"text", QString::fromStdString(callout.text)},
                                  {"style", QString::fromStdString(rawValue(callout.style))},
                                  {"x", callout.position ? callout.position->x : -1.0},
                                  {"y", callout.position ? callout.position->y : -1.0}});
    }
    return values;
}

QVariantList segments(const std::vector<FocusSegment>& list)
{
    QVariantList values;
    const std::vector<int> lanes = TimelineLayout::lanes(list);
    for (std::size_t index = 0; index < list.size(); ++index) {
        const FocusSegment& segment = list[index];
        values.append(QVariantMap{{"start", segment.start},
                                  {"end", segment.end},
                                  {"type", QString::fromStdString(rawValue(segment.type))},
                                  {"centerX", segment.centerX},
                                  {"centerY", segment.centerY},
                                  {"scale", segment.scale},
                                  {"depthLabel", QString::fromStdString(TimelineLayout::depthLabel(segment.scale))},
                                  {"lane", lanes[index]},
                                  {"edited", segment.edited}});
    }
    return values;
}

QVariantList ranges(const std::vector<TimeRange>& list)
{
    QVariantList values;
    for (const TimeRange& range : list) values.append(QVariantMap{{"start", range.start}, {"end", range.end}});
    return values;
}

// Each region with the label its bar shows: "4×", "0.5×".
QVariantList speedRegions(const std::vector<SpeedRegion>& list)
{
    QVariantList values;
    for (const SpeedRegion& region : list) {
        values.append(QVariantMap{{"start", region.start},
                                  {"end", region.end},
                                  {"speed", region.speed},
                                  {"label", QString::number(region.speed, 'g', 3) + QStringLiteral("×")}});
    }
    return values;
}

QVariantList blurRegions(const std::vector<BlurRegion>& list)
{
    QVariantList values;
    for (const BlurRegion& region : list) {
        values.append(QVariantMap{{"start", region.start},
                                  {"end", region.end},
                                  {"x", region.x},
                                  {"y", region.y},
                                  {"width", region.width},
                                  {"height", region.height},
                                  {"style", QString::fromStdString(rawValue(region.style))}});
    }
    return values;
}

// The recorded keyboard shortcuts in the order pressed (their numbers), with whether each badge is hidden.
QVariantList shortcuts(const RecordingProject& project)
{
    QVariantList values;
    std::int64_t number = 0;
    for (const InputEvent& event : project.events) {
        if (event.type != InputEvent::EventType::keyboardShortcut) continue;
        values.append(QVariantMap{{"time", event.time},
                                  {"keys", QString::fromStdString(event.keys.value_or(""))},
                                  {"hidden", std::ranges::binary_search(project.hiddenShortcuts, number)}});
        ++number;
    }
    return values;
}

// Rows the timeline needs so that no two blocks overlap; at least one.
int laneCount(const std::vector<FocusSegment>& list)
{
    const std::vector<int> lanes = TimelineLayout::lanes(list);
    return lanes.empty() ? 1 : *std::max_element(lanes.begin(), lanes.end()) + 1;
}

}  // namespace

QVariantMap project(const RecordingProject& project)
{
    return {
        {"id", QString::fromStdString(project.id)},
        {"duration", project.duration},
        {"videoWidth", static_cast<qlonglong>(project.video.width)},
        {"videoHeight", static_cast<qlonglong>(project.video.height)},
        {"eventCount", static_cast<qlonglong>(project.events.size())},
        {"focusSegmentCount", static_cast<qlonglong>(project.focusSegments.size())},
        {"cursorFrameCount", static_cast<qlonglong>(project.cursorFrames.size())},
        {"exportVideoPath", QString::fromStdString(project.exportVideoPath.value_or(""))},
        {"segments", segments(project.focusSegments)},
        {"trimStart", project.trim ? project.trim->start : 0.0},
        {"trimEnd", project.trim ? project.trim->end : project.duration},
        {"cuts", ranges(project.cuts)},
        {"speedRegions", speedRegions(project.speedRegions)},
        {"shortcutCount", static_cast<qlonglong>(ShortcutBadgeEdits::shortcutCount(project))},
        {"blurRegions", blurRegions(project.blurRegions)},
        {"shortcuts", shortcuts(project)},
        {"crop", project.crop ? QVariant(QVariantMap{{"x", static_cast<qlonglong>(project.crop->x)},
                                                     {"y", static_cast<qlonglong>(project.crop->y)},
                                                     {"width", static_cast<qlonglong>(project.crop->width)},
                                                     {"height", static_cast<qlonglong>(project.crop->height)}})
                              : QVariant()},
        {"keptDuration", OutputTimeline(project).duration()},
        {"laneCount", laneCount(project.focusSegments)},
        {"hasCamera", project.camera.has_value()},
        {"audioTrackCount", (capturesSystemAudio(project.audioSettings.mode) ? 1 : 0) +
                                (capturesMicrophone(project.audioSettings.mode) ? 1 : 0)},
        {"hasSystemAudio", capturesSystemAudio(project.audioSettings.mode)},
        {"hasMicrophone", capturesMicrophone(project.audioSettings.mode)},
        {"textCallouts", textCallouts(project.textCallouts)},
    };
}

namespace {

// The template's padding is in pixels; the panel shows it as the share the slider sets.
double effectiveCardPadding(const RenderSettings& settings)
{
    if (settings.cardPadding) return *settings.cardPadding;
    const double shortSide = static_cast<double>(std::max<std::int64_t>(
        std::min(settings.outputWidth, settings.outputHeight), 1));
    return std::min(RenderPreset::forSettings(settings).padding / shortSide, RenderSettings::maximumCardPadding);
}

std::optional<double> numberWithin(const QVariant& value, double minimum, double maximum)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(number)) return std::nullopt;
    return std::clamp(number, minimum, maximum);
}

}  // namespace

QVariantMap renderSettings(const RenderSettings& settings)
{
    return {
        {"aspectRatio", text(aspectRatioTexts, settings.aspectRatio)},
        {"templateName", text(templateNameTexts, settings.templateName)},
        {"zoomIntensity", text(zoomIntensityTexts, settings.zoomIntensity)},
        {"resolutionPreset", text(resolutionPresetTexts, settings.resolutionPreset)},
        {"backgroundEnabled", settings.backgroundEnabled},
        {"showCursor", settings.showCursor},
        {"showClickRipple", settings.showClickRipple},
        {"showShortcuts", settings.showShortcuts},
        {"cursorTheme", text(cursorThemeTexts, settings.cursorTheme)},
        {"windowChrome", settings.windowChrome ? text(windowChromeTexts, *settings.windowChrome) : QString("template")},
        {"cursorEffect", text(cursorEffectTexts, settings.cursorEffect)},
        {"dynamicCursorScale", settings.dynamicCursorScale},
        {"cursorSmoothing", text(cursorSmoothingTexts, settings.cursorSmoothing)},
        {"motionBlur", QString::number(settings.motionBlur)},
        {"background", settings.background.kind == BackgroundChoice::Kind::image
                           ? QStringLiteral("image")
                           : QString::fromStdString(describe(settings.background))},
        {"backgroundBlur", settings.background.blur},
        {"cardPadding", effectiveCardPadding(settings)},
        {"cardCornerRadius", settings.cardCornerRadius.value_or(RenderPreset::forSettings(settings).cornerRadius)},
        {"shadowStrength", settings.shadowStrength},
        {"cursorSize", settings.cursorSize},
        {"layout", text(videoLayoutTexts, settings.layout)},
        {"outputWidth", static_cast<qlonglong>(settings.outputWidth)},
        {"outputHeight", static_cast<qlonglong>(settings.outputHeight)},
        {"fps", static_cast<qlonglong>(settings.fps)},
        {"exportQuality", text(exportQualityTexts, settings.exportQuality)},
        {"cameraVisible", settings.cameraVisible},
        {"cameraPosition", text(cameraPositionTexts, settings.cameraPosition)},
        {"cameraSize", settings.cameraSize},
        {"cameraShape", text(cameraShapeTexts, settings.cameraShape)},
        {"cameraMirror", settings.cameraMirror},
        {"cameraShadow", settings.cameraShadow},
        {"normalizeLoudness", settings.normalizeLoudness},
        {"reduceNoise", settings.reduceNoise},
        {"systemAudioVolume", QString::number(settings.systemAudioVolume)},
        {"microphoneVolume", QString::number(settings.microphoneVolume)},
        {"systemAudioMuted", settings.systemAudioMuted},
        {"microphoneMuted", settings.microphoneMuted},
        {"duckedTrack", settings.duckedTrack ? text(audioTrackRoleTexts, *settings.duckedTrack) : QString("none")},
    };
}

QVariantList microphones(const std::vector<AudioInputDevice>& devices)
{
    QVariantList list;
    for (const auto& device : devices)
        list.append(QVariantMap{{"id", QString::fromStdString(device.id)}, {"name", QString::fromStdString(device.name)}});
    return list;
}

QVariantList cameras(const std::vector<CameraDevice>& cameras)
{
    QVariantList list;
    for (const auto& camera : cameras)
        list.append(QVariantMap{{"id", QString::fromStdString(camera.id)}, {"title", QString::fromStdString(camera.title)}});
    return list;
}

QDateTime dateTime(const std::optional<Timestamp>& time)
{
    if (!time) return {};
    return QDateTime::fromMSecsSinceEpoch(
        std::chrono::duration_cast<std::chrono::milliseconds>(time->time_since_epoch()).count());
}

namespace {

QString sourceText(const std::optional<CaptureInfo>& capture)
{
    if (!capture) return {};
    const auto named = [](const std::optional<std::string>& text) {
        return text && !text->empty() ? QString::fromStdString(*text) : QString();
    };
    if (capture->sourceType == CaptureInfo::SourceType::display) {
        const QString title = named(capture->windowTitle);
        return title.isEmpty() ? QStringLiteral("整个屏幕") : QStringLiteral("屏幕 ") + title;
    }
    const QString app = named(capture->appName);
    const QString title = named(capture->windowTitle);
    if (app.isEmpty() || title.isEmpty()) return app + title;
    return app + QStringLiteral(" — ") + title;
}

}  // namespace

QVariantList projects(const std::vector<ProjectSummary>& projects)
{
    QVariantList list;
    for (const auto& project : projects) {
        QString status;
        if (project.unfinished) status = QStringLiteral("未完成");
        else if (project.problem) status = QStringLiteral("无法读取");
        else if (project.exported) status = QStringLiteral("已导出");
        QString thumbnail;
        if (project.rawVideoURL) {
            thumbnail = QStringLiteral("image://") + ProjectThumbnailProvider::name + "/" +
                        QString::fromUtf8(QUrl::toPercentEncoding(QString::fromStdString(project.rawVideoURL->string())));
        }
        list.append(QVariantMap{
            {"directory", QString::fromStdString(project.directory.string())},
            {"name", QString::fromStdString(project.name)},
            {"date", dateTime(project.recordedAt).toString("yyyy-MM-dd HH:mm")},
            {"duration", project.unfinished || project.problem
                             ? QString()
                             : QString::fromStdString(RecordingDurationFormatter::formatDuration(project.duration))},
            {"source", sourceText(project.capture)},
            {"status", status},
            {"problem", QString::fromStdString(project.problem.value_or(""))},
            {"exported", project.exported},
            {"unfinished", project.unfinished},
            {"thumbnail", thumbnail},
        });
    }
    return list;
}

namespace {

// The sound section's fields; false for another field or a value out of range.
bool soundChange(const QString& field, const QVariant& value, RenderSettings& settings)
{
    if (field == "normalizeLoudness") {
        settings.normalizeLoudness = value.toBool();
    } else if (field == "reduceNoise") {
        settings.reduceNoise = value.toBool();
    } else if (field == "systemAudioMuted") {
        settings.systemAudioMuted = value.toBool();
    } else if (field == "microphoneMuted") {
        settings.microphoneMuted = value.toBool();
    } else if (field == "systemAudioVolume" || field == "microphoneVolume") {
        bool number = false;
        const double decibels = value.toDouble(&number);
        if (!number || !(decibels >= minimumTrackVolume && decibels <= maximumTrackVolume)) return false;
        (field == "systemAudioVolume" ? settings.systemAudioVolume : settings.microphoneVolume) = decibels;
    } else if (field == "duckedTrack") {
        if (value.toString() == "none") {
            settings.duckedTrack.reset();
            return true;
        }
        const auto parsed = parse(audioTrackRoleTexts, value.toString());
        if (!parsed) return false;
        settings.duckedTrack = *parsed;
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::optional<RenderSettingChange> renderSettingChange(const RenderSettings& current, const QString& field,
                                                       const QVariant& value)
{
    RenderSettings settings = current;
    const QString raw = value.toString();
    if (field == "zoomIntensity") {
        if (const auto parsed = parse(zoomIntensityTexts, raw)) return *parsed;
        return std::nullopt;
    }
    if (field == "fps") {
        const int fps = value.toInt();
        if (fps > 0) return FpsChange{fps};
        return std::nullopt;
    }
    if (field == "cursorSmoothing") {
        if (const auto parsed = parse(cursorSmoothingTexts, raw)) return *parsed;
        return std::nullopt;
    }
    if (field == "aspectRatio") {
        if (const auto parsed = parse(aspectRatioTexts, raw)) return *parsed;
        return std::nullopt;
    }
    if (field == "resolutionPreset") {
        if (const auto parsed = parse(resolutionPresetTexts, raw)) return *parsed;
        return std::nullopt;
    }
    if (field == "templateName") {
        const auto parsed = parse(templateNameTexts, raw);
        if (!parsed) return std::nullopt;
        settings.templateName = *parsed;
    } else if (field == "cursorTheme") {
        const auto parsed = parse(cursorThemeTexts, raw);
        if (!parsed) return std::nullopt;
        settings.cursorTheme = *parsed;
    } else if (field == "cursorEffect") {
        const auto parsed = parse(cursorEffectTexts, raw);
        if (!parsed) return std::nullopt;
        settings.cursorEffect = *parsed;
    } else if (field == "windowChrome") {
        if (raw == "template") {
            settings.windowChrome.reset();
        } else {
            const auto parsed = parse(windowChromeTexts, raw);
            if (!parsed) return std::nullopt;
            settings.windowChrome = *parsed;
        }
    } else if (field == "exportQuality") {
        const auto parsed = parse(exportQualityTexts, raw);
        if (!parsed) return std::nullopt;
        settings.exportQuality = *parsed;
    } else if (field == "backgroundEnabled") {
        settings.backgroundEnabled = value.toBool();
    } else if (field == "showCursor") {
        settings.showCursor = value.toBool();
    } else if (field == "showClickRipple") {
        settings.showClickRipple = value.toBool();
    } else if (field == "showShortcuts") {
        settings.showShortcuts = value.toBool();
    } else if (field == "dynamicCursorScale") {
        settings.dynamicCursorScale = value.toBool();
    } else if (field == "motionBlur") {
        bool number = false;
        const double amount = value.toDouble(&number);
        if (!number || !(amount >= 0 && amount <= 1)) return std::nullopt;
        settings.motionBlur = amount;
    } else if (field == "layout") {
        const auto parsed = parse(videoLayoutTexts, raw);
        if (!parsed) return std::nullopt;
        settings.layout = *parsed;
    } else if (field == "background") {
        if (raw == "template") {
            settings.background = {};
        } else if (const auto color = RGBAColor::fromHexText(raw.toStdString())) {
            settings.background = BackgroundChoice::solid(*color);
        } else if (const auto index = generatedIndexOf(raw.toStdString())) {
            settings.background = BackgroundChoice::generated(*index);
        } else {
            return std::nullopt;
        }
    } else if (field == "backgroundBlur") {
        const auto blur = numberWithin(value, 0, BackgroundChoice::maximumBlur);
        if (!blur || settings.background.kind != BackgroundChoice::Kind::image) return std::nullopt;
        settings.background.blur = *blur;
    } else if (field == "cardPadding") {
        const auto padding = numberWithin(value, 0, RenderSettings::maximumCardPadding);
        if (!padding) return std::nullopt;
        settings.cardPadding = *padding;
    } else if (field == "cardCornerRadius") {
        const auto radius = numberWithin(value, 0, RenderSettings::maximumCornerRadius);
        if (!radius) return std::nullopt;
        settings.cardCornerRadius = *radius;
    } else if (field == "shadowStrength") {
        const auto strength = numberWithin(value, 0, RenderSettings::maximumShadowStrength);
        if (!strength) return std::nullopt;
        settings.shadowStrength = *strength;
    } else if (field == "cursorSize") {
        const auto size = numberWithin(value, RenderSettings::minimumCursorSize, RenderSettings::maximumCursorSize);
        if (!size) return std::nullopt;
        settings.cursorSize = *size;
    } else if (!soundChange(field, value, settings)) {
        return std::nullopt;
    }
    return settings;
}

std::optional<CameraBubbleLook> cameraBubbleChange(const CameraBubbleLook& current, const QString& field,
                                                   const QVariant& value)
{
    CameraBubbleLook look = current;
    if (field == "cameraVisible") {
        look.visible = value.toBool();
    } else if (field == "cameraMirror") {
        look.mirror = value.toBool();
    } else if (field == "cameraShadow") {
        look.shadow = value.toBool();
    } else if (field == "cameraSize") {
        bool isNumber = false;
        const double size = value.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(size)) return std::nullopt;
        look.size = std::clamp(size, RenderSettings::minimumCameraSize, RenderSettings::maximumCameraSize);
    } else if (field == "cameraShape") {
        const auto parsed = parse(cameraShapeTexts, value.toString());
        if (!parsed) return std::nullopt;
        look.shape = *parsed;
    } else if (field == "cameraPosition") {
        // The panel offers the corners; a custom place comes only from dragging the bubble.
        const auto parsed = parse(cameraPositionTexts, value.toString());
        if (!parsed || *parsed == CameraPosition::custom) return std::nullopt;
        look.position = *parsed;
        look.centerX = CameraBubbleLook{}.centerX;
        look.centerY = CameraBubbleLook{}.centerY;
    } else {
        return std::nullopt;
    }
    return look;
}

}  // namespace vantile::QmlValues
