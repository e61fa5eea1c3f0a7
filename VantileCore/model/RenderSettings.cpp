#include "model/RenderSettings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace vantile {

std::string label(AspectRatio ratio)
{
    switch (ratio) {
    case AspectRatio::landscape16x9: return "16:9";
    case AspectRatio::ultrawide21x9: return "21:9";
    case AspectRatio::source: return "原视频比例";
    case AspectRatio::portrait9x16: return "9:16";
    case AspectRatio::square1x1: return "1:1";
    case AspectRatio::classic4x3: return "4:3";
    }
    return {};
}

std::string label(ResolutionPreset preset)
{
    if (preset == ResolutionPreset::source) return "原尺寸";
    return std::to_string(shortEdge(preset)) + "p";
}

std::int64_t shortEdge(ResolutionPreset preset)
{
    switch (preset) {
    case ResolutionPreset::p720: return 720;
    case ResolutionPreset::p1080: return 1080;
    case ResolutionPreset::p1440: return 1440;
    case ResolutionPreset::p2160: return 2160;
    case ResolutionPreset::source: return 1080;
    }
    return 1080;
}

std::int64_t shortEdge(ResolutionPreset preset, const std::optional<VideoInfo>& sourceVideo)
{
    if (preset == ResolutionPreset::source && sourceVideo)
        return std::max<std::int64_t>(std::min(sourceVideo->width, sourceVideo->height), 2);
    return shortEdge(preset);
}

std::int64_t evenOutputDimension(double value)
{
    const double even = 2 * std::trunc(value * 0.5);
    // A size that does not fit an integer is a programming error.
    if (!std::isfinite(even) || std::fabs(even) >= 9.2e18) std::abort();
    return std::max<std::int64_t>(static_cast<std::int64_t>(even), 2);
}

namespace {

OutputSize outputSizeWithShortEdge(AspectRatio ratio, double s)
{
    switch (ratio) {
    case AspectRatio::landscape16x9:
    case AspectRatio::source: return {evenOutputDimension(s * 1.7777777777777777), evenOutputDimension(s)};
    // 64/27 (2560 / 1080), not 21/9: the common "ultrawide" pixel size.
    case AspectRatio::ultrawide21x9: return {evenOutputDimension(s * 2.3703703703703702), evenOutputDimension(s)};
    case AspectRatio::portrait9x16: return {evenOutputDimension(s), evenOutputDimension(s / 0.5625)};
    case AspectRatio::square1x1: return {evenOutputDimension(s), evenOutputDimension(s)};
    case AspectRatio::classic4x3: return {evenOutputDimension(s * 1.3333333333333333), evenOutputDimension(s)};
    }
    return {};
}

}  // namespace

OutputSize outputSize(AspectRatio ratio, ResolutionPreset preset)
{
    return outputSizeWithShortEdge(ratio, static_cast<double>(shortEdge(preset)));
}

OutputSize outputSize(AspectRatio ratio, const std::optional<VideoInfo>& sourceVideo, ResolutionPreset preset)
{
    if (ratio == AspectRatio::source && sourceVideo) {
        return sourceMatchedOutputSize(sourceVideo->width, sourceVideo->height, preset);
    }
    return outputSizeWithShortEdge(ratio, static_cast<double>(shortEdge(preset, sourceVideo)));
}

OutputSize sourceMatchedOutputSize(std::int64_t width, std::int64_t height, ResolutionPreset preset)
{
    const double w = static_cast<double>(std::max<std::int64_t>(width, 2));
    const double h = static_cast<double>(std::max<std::int64_t>(height, 2));
    const double shortSide = std::min(w, h);
    const double target = preset == ResolutionPreset::source ? shortSide : static_cast<double>(shortEdge(preset));
    // A source smaller than the preset is never enlarged.
    const double factor = target < shortSide ? target / shortSide : 1.0;
    return {evenOutputDimension(factor * w), evenOutputDimension(factor * h)};
}

RenderPreset RenderPreset::preset(TemplateName name)
{
    switch (name) {
    case TemplateName::minimalDark:
        return {RenderBackground::solid(RGBAColor::fromHex(0x0B1020)), 18, 96, WindowChrome::browser};
    case TemplateName::gradientBlue:
        return {RenderBackground::linear(RGBAColor::fromHex(0x0F172A), RGBAColor::fromHex(0x312E81)), 24, 120,
                WindowChrome::browser};
    case TemplateName::cleanLight:
        return {RenderBackground::solid(RGBAColor::fromHex(0xF5F7FA)), 20, 96, WindowChrome::macWindow};
    }
    return {};
}

RenderPreset RenderPreset::forSettings(const RenderSettings& settings)
{
    RenderPreset chosen = preset(settings.templateName);
    if (settings.windowChrome) chosen.windowChrome = *settings.windowChrome;
    if (settings.background.kind == BackgroundChoice::Kind::solid) {
        chosen.background = RenderBackground::solid(settings.background.color);
    }
    return chosen;
}

RenderSettings RenderSettings::sizedFor(const std::optional<VideoInfo>& sourceVideo) const
{
    RenderSettings sized = *this;
    const OutputSize size = outputSize(aspectRatio, sourceVideo, resolutionPreset);
    sized.outputWidth = size.width;
    sized.outputHeight = size.height;
    return sized;
}

void to_json(Json& json, const RenderSettings& settings)
{
    json = Json{
        {"aspectRatio", settings.aspectRatio},
        {"templateName", settings.templateName},
        {"zoomIntensity", settings.zoomIntensity},
        {"resolutionPreset", settings.resolutionPreset},
        {"backgroundEnabled", settings.backgroundEnabled},
        {"showCursor", settings.showCursor},
        {"showClickRipple", settings.showClickRipple},
        {"cursorTheme", settings.cursorTheme},
        {"cursorEffect", settings.cursorEffect},
        {"dynamicCursorScale", settings.dynamicCursorScale},
        {"outputWidth", settings.outputWidth},
        {"outputHeight", settings.outputHeight},
        {"fps", settings.fps},
    };
    // Only a quality other than the default is written, so projects that never chose one keep their bytes.
    if (settings.exportQuality != ExportQuality::standard) json["exportQuality"] = settings.exportQuality;
    if (settings.windowChrome) json["windowChrome"] = *settings.windowChrome;
    if (settings.cursorSmoothing != CursorSmoothing::classic) json["cursorSmoothing"] = settings.cursorSmoothing;
    if (!settings.cameraVisible) json["cameraVisible"] = false;
    if (settings.cameraPosition != CameraPosition::bottomRight) json["cameraPosition"] = settings.cameraPosition;
    if (settings.cameraPosition == CameraPosition::custom) {
        json["cameraCenterX"] = settings.cameraCenterX;
        json["cameraCenterY"] = settings.cameraCenterY;
    }
    if (settings.cameraSize != RenderSettings::defaultCameraSize) json["cameraSize"] = settings.cameraSize;
    if (settings.cameraShape != CameraShape::circle) json["cameraShape"] = settings.cameraShape;
    if (!settings.cameraMirror) json["cameraMirror"] = false;
    if (!settings.cameraShadow) json["cameraShadow"] = false;
    if (settings.motionBlur != 0) json["motionBlur"] = settings.motionBlur;
    encodeBackground(json, settings.background);
    if (settings.cardPadding) json["cardPadding"] = *settings.cardPadding;
    if (settings.cardCornerRadius) json["cardCornerRadius"] = *settings.cardCornerRadius;
    if (settings.shadowStrength != 1) json["shadowStrength"] = settings.shadowStrength;
    if (settings.cursorSize != 1) json["cursorSize"] = settings.cursorSize;
    if (settings.layout != VideoLayout::card) json["layout"] = settings.layout;
    if (!settings.showShortcuts) json["showShortcuts"] = false;
    if (settings.normalizeLoudness) json["normalizeLoudness"] = true;
    if (settings.reduceNoise) json["reduceNoise"] = true;
    if (settings.systemAudioVolume != 0) json["systemAudioVolume"] = settings.systemAudioVolume;
    if (settings.microphoneVolume != 0) json["microphoneVolume"] = settings.microphoneVolume;
    if (settings.systemAudioMuted) json["systemAudioMuted"] = true;
    if (settings.microphoneMuted) json["microphoneMuted"] = true;
    if (settings.duckedTrack) json["duckedTrack"] = *settings.duckedTrack;
    encodeUnknownKeys(json, settings.unknownKeys);
}

namespace {

void requireWithin(const char* key, double value, double minimum, double maximum, const char* range)
{
    if (!(value >= minimum && value <= maximum)) throw DecodingError(key, std::string("must be between ") + range);
}

void decodeCameraBubble(const Json& json, RenderSettings& settings)
{
    decodeKeyOrKeep(json, "cameraVisible", settings.cameraVisible);
    decodeKeyOrKeep(json, "cameraPosition", settings.cameraPosition);
    decodeKeyOrKeep(json, "cameraSize", settings.cameraSize);
    decodeKeyOrKeep(json, "cameraShape", settings.cameraShape);
    decodeKeyOrKeep(json, "cameraMirror", settings.cameraMirror);
    decodeKeyOrKeep(json, "cameraShadow", settings.cameraShadow);
    requireWithin("cameraSize", settings.cameraSize, RenderSettings::minimumCameraSize,
                  RenderSettings::maximumCameraSize, "0.12 and 0.5");
    if (settings.cameraPosition != CameraPosition::custom) return;
    // A custom place is nothing without both fractions.
    decodeKey(json, "cameraCenterX", settings.cameraCenterX);
    decodeKey(json, "cameraCenterY", settings.cameraCenterY);
    requireWithin("cameraCenterX", settings.cameraCenterX, 0, 1, "0 and 1");
    requireWithin("cameraCenterY", settings.cameraCenterY, 0, 1, "0 and 1");
}

void decodeFrameLook(const Json& json, RenderSettings& settings)
{
    settings.background = decodeBackground(json);
    decodeOptionalKey(json, "cardPadding", settings.cardPadding);
    decodeOptionalKey(json, "cardCornerRadius", settings.cardCornerRadius);
    decodeKeyOrKeep(json, "shadowStrength", settings.shadowStrength);
    decodeKeyOrKeep(json, "cursorSize", settings.cursorSize);
    decodeKeyOrKeep(json, "layout", settings.layout);
    decodeKeyOrKeep(json, "showShortcuts", settings.showShortcuts);
    if (settings.cardPadding) requireWithin("cardPadding", *settings.cardPadding, 0, RenderSettings::maximumCardPadding, "0 and 0.2");
    if (settings.cardCornerRadius) {
        requireWithin("cardCornerRadius", *settings.cardCornerRadius, 0, RenderSettings::maximumCornerRadius, "0 and 64");
    }
    requireWithin("shadowStrength", settings.shadowStrength, 0, RenderSettings::maximumShadowStrength, "0 and 2");
    requireWithin("cursorSize", settings.cursorSize, RenderSettings::minimumCursorSize, RenderSettings::maximumCursorSize,
                  "0.5 and 3");
}

void decodeSound(const Json& json, RenderSettings& settings)
{
    decodeKeyOrKeep(json, "normalizeLoudness", settings.normalizeLoudness);
    decodeKeyOrKeep(json, "reduceNoise", settings.reduceNoise);
    decodeKeyOrKeep(json, "systemAudioVolume", settings.systemAudioVolume);
    decodeKeyOrKeep(json, "microphoneVolume", settings.microphoneVolume);
    decodeKeyOrKeep(json, "systemAudioMuted", settings.systemAudioMuted);
    decodeKeyOrKeep(json, "microphoneMuted", settings.microphoneMuted);
    decodeOptionalKey(json, "duckedTrack", settings.duckedTrack);
    requireWithin("systemAudioVolume", settings.systemAudioVolume, minimumTrackVolume, maximumTrackVolume,
                  "-40 and 20 decibels");
    requireWithin("microphoneVolume", settings.microphoneVolume, minimumTrackVolume, maximumTrackVolume,
                  "-40 and 20 decibels");
}

}  // namespace

bool RenderSettings::changesSound() const
{
    return normalizeLoudness || reduceNoise || systemAudioVolume != 0 || microphoneVolume != 0 || systemAudioMuted ||
           microphoneMuted || duckedTrack.has_value();
}

double RenderSettings::volume(AudioTrackRole role) const
{
    return role == AudioTrackRole::system ? systemAudioVolume : microphoneVolume;
}

bool RenderSettings::muted(AudioTrackRole role) const
{
    return role == AudioTrackRole::system ? systemAudioMuted : microphoneMuted;
}

void decodeValue(const Json& json, RenderSettings& settings)
{
    requireObject(json);
    settings = RenderSettings{};
    decodeKey(json, "aspectRatio", settings.aspectRatio);
    decodeKey(json, "templateName", settings.templateName);
    decodeKey(json, "zoomIntensity", settings.zoomIntensity);
    // Keys added after the first release fall back to their defaults.
    decodeKeyOrKeep(json, "resolutionPreset", settings.resolutionPreset);
    decodeKeyOrKeep(json, "backgroundEnabled", settings.backgroundEnabled);
    decodeKeyOrKeep(json, "showCursor", settings.showCursor);
    decodeKeyOrKeep(json, "showClickRipple", settings.showClickRipple);
    decodeKeyOrKeep(json, "cursorTheme", settings.cursorTheme);
    decodeKeyOrKeep(json, "cursorEffect", settings.cursorEffect);
    decodeKeyOrKeep(json, "dynamicCursorScale", settings.dynamicCursorScale);
    decodeKey(json, "outputWidth", settings.outputWidth);
    decodeKey(json, "outputHeight", settings.outputHeight);
    decodeKey(json, "fps", settings.fps);
    decodeKeyOrKeep(json, "exportQuality", settings.exportQuality);
    decodeOptionalKey(json, "windowChrome", settings.windowChrome);
    decodeKeyOrKeep(json, "cursorSmoothing", settings.cursorSmoothing);
    decodeCameraBubble(json, settings);
    decodeKeyOrKeep(json, "motionBlur", settings.motionBlur);
    requireWithin("motionBlur", settings.motionBlur, 0, 1, "0 and 1");
    decodeFrameLook(json, settings);
    decodeSound(json, settings);
    settings.unknownKeys = unknownKeysOf(json, {"aspectRatio", "templateName", "zoomIntensity", "resolutionPreset", "backgroundEnabled", "showCursor", "showClickRipple", "cursorTheme", "cursorEffect", "dynamicCursorScale", "outputWidth", "outputHeight", "fps", "exportQuality", "windowChrome", "cursorSmoothing", "cameraVisible", "cameraPosition", "cameraCenterX", "cameraCenterY", "cameraSize", "cameraShape", "cameraMirror", "cameraShadow", "motionBlur", "backgroundColor", "backgroundImage", "backgroundGenerated", "backgroundBlur", "cardPadding", "cardCornerRadius", "shadowStrength", "cursorSize", "layout", "normalizeLoudness", "reduceNoise", "systemAudioVolume", "microphoneVolume", "systemAudioMuted", "microphoneMuted", "duckedTrack", "showShortcuts"});
}

EncoderTuning encoderTuning(ExportQuality quality, std::int64_t fps)
{
    switch (quality) {
    case ExportQuality::draft:
        return {"veryfast", 23, ""};
    case ExportQuality::high:
        return {"slow", 18, ""};
    case ExportQuality::standard:
        break;
    }
    // At 60 fps neighbouring frames are half as far apart, so the nearest one predicts nearly as
    // well as three and a lighter subpixel search finds the same motion. On zoomed, scrolling
    // text this costs about 0.8 dB of SSIM and saves about 30% of the encoder's time, which
    // would otherwise be twice a 30 fps export's.
    if (fps > 30) return {"medium", 23, "ref=1:subme=5"};
    return {"medium", 23, ""};
}

}  // namespace vantile
