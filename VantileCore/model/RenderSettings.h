#pragma once

#include "model/BackgroundChoice.h"
#include "model/CaptureInfo.h"
#include "model/JsonCoding.h"
#include "model/SoundSettings.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantile {

enum class AspectRatio { landscape16x9, ultrawide21x9, source, portrait9x16, square1x1, classic4x3 };
enum class TemplateName { minimalDark, gradientBlue, cleanLight };
enum class ZoomIntensity { light, standard, strong };
// `source` keeps the recording's own short side (a 2880x1800 screen exports at 2880x1800).
enum class ResolutionPreset { p720, p1080, p1440, p2160, source };
enum class CursorTheme { systemWhite, graphite, electricBlue, rose, lime };
enum class CursorEffect { macOS, halo, glow };
// The bar drawn over the card. The templates bring `browser` or `macWindow`; a project may
// choose a Linux title bar, or none at all when a whole screen, which is no window, was recorded.
enum class WindowChrome { browser, macWindow, linuxTitleBar, none };
enum class ExportQuality { draft, standard, high };
// How the drawn cursor follows the pointer: `precise` also lands where the pointer rests and clicks.
enum class CursorSmoothing { classic, precise };
// Where the camera bubble sits: a corner, or `custom` at the settings' centre fractions.
enum class CameraPosition { bottomRight, bottomLeft, topRight, topLeft, custom };
enum class CameraShape { circle, roundedSquare, square };
// How the recording sits in the frame: on a card over a background, or filling the whole frame
// with a crop of the frame's shape that follows the action.
enum class VideoLayout { card, fill };

inline constexpr EnumTexts<AspectRatio, 6> aspectRatioTexts{{
    "landscape16x9", "ultrawide21x9", "source", "portrait9x16", "square1x1", "classic4x3",
}};
inline constexpr EnumTexts<TemplateName, 3> templateNameTexts{{"minimalDark", "gradientBlue", "cleanLight"}};
inline constexpr EnumTexts<ZoomIntensity, 3> zoomIntensityTexts{{"light", "standard", "strong"}};
inline constexpr EnumTexts<ResolutionPreset, 5> resolutionPresetTexts{{"p720", "p1080", "p1440", "p2160", "source"}};
inline constexpr EnumTexts<CursorTheme, 5> cursorThemeTexts{{
    "systemWhite", "graphite", "electricBlue", "rose", "lime",
}};
inline constexpr EnumTexts<CursorEffect, 3> cursorEffectTexts{{"macOS", "halo", "glow"}};
inline constexpr EnumTexts<WindowChrome, 4> windowChromeTexts{{"browser", "macWindow", "linuxTitleBar", "none"}};
inline constexpr EnumTexts<ExportQuality, 3> exportQualityTexts{{"draft", "standard", "high"}};
inline constexpr EnumTexts<VideoLayout, 2> videoLayoutTexts{{"card", "fill"}};
inline constexpr EnumTexts<CursorSmoothing, 2> cursorSmoothingTexts{{"classic", "precise"}};
inline constexpr EnumTexts<CameraPosition, 5> cameraPositionTexts{{
    "bottomRight", "bottomLeft", "topRight", "topLeft", "custom",
}};
inline constexpr EnumTexts<CameraShape, 3> cameraShapeTexts{{"circle", "roundedSquare", "square"}};

inline const auto& enumTexts(AspectRatio) { return aspectRatioTexts; }
inline const auto& enumTexts(TemplateName) { return templateNameTexts; }
inline const auto& enumTexts(ZoomIntensity) { return zoomIntensityTexts; }
inline const auto& enumTexts(ResolutionPreset) { return resolutionPresetTexts; }
inline const auto& enumTexts(CursorTheme) { return cursorThemeTexts; }
inline const auto& enumTexts(CursorEffect) { return cursorEffectTexts; }
inline const auto& enumTexts(WindowChrome) { return windowChromeTexts; }
inline const auto& enumTexts(ExportQuality) { return exportQualityTexts; }
inline const auto& enumTexts(CursorSmoothing) { return cursorSmoothingTexts; }
inline const auto& enumTexts(CameraPosition) { return cameraPositionTexts; }
inline const auto& enumTexts(CameraShape) { return cameraShapeTexts; }
inline const auto& enumTexts(VideoLayout) { return videoLayoutTexts; }
inline void to_json(Json& json, AspectRatio value) { json = aspectRatioTexts.text(value); }
inline void to_json(Json& json, TemplateName value) { json = templateNameTexts.text(value); }
inline void to_json(Json& json, ZoomIntensity value) { json = zoomIntensityTexts.text(value); }
inline void to_json(Json& json, ResolutionPreset value) { json = resolutionPresetTexts.text(value); }
inline void to_json(Json& json, CursorTheme value) { json = cursorThemeTexts.text(value); }
inline void to_json(Json& json, CursorEffect value) { json = cursorEffectTexts.text(value); }
inline void to_json(Json& json, WindowChrome value) { json = windowChromeTexts.text(value); }
inline void to_json(Json& json, ExportQuality value) { json = exportQualityTexts.text(value); }
inline void to_json(Json& json, CursorSmoothing value) { json = cursorSmoothingTexts.text(value); }
inline void to_json(Json& json, CameraPosition value) { json = cameraPositionTexts.text(value); }
inline void to_json(Json& json, VideoLayout value) { json = videoLayoutTexts.text(value); }
inline void to_json(Json& json, CameraShape value) { json = cameraShapeTexts.text(value); }

std::string label(AspectRatio ratio);         // "16:9", "原视频比例", ...
std::string label(ResolutionPreset preset);   // "720p", "1080p", "1440p", "2160p", "原尺寸"
// The output's short side; `source` without a known recording counts as 1080p.
std::int64_t shortEdge(ResolutionPreset preset);
std::int64_t shortEdge(ResolutionPreset preset, const std::optional<VideoInfo>& sourceVideo);

// The H.264 encoder's trade between time and size for one quality.
struct EncoderTuning {
    std::string preset;   // libx264's speed preset
    int crf = 23;
    std::string options;  // libx264 "key=value:..." over the preset; empty for none

    bool operator==(const EncoderTuning&) const = default;
};
// draft: veryfast, crf 23; standard: medium, crf 23, above 30 fps with one reference frame and
// subme 5; high: slow, crf 18.
EncoderTuning encoderTuning(ExportQuality quality, std::int64_t fps);

struct OutputSize {
    std::int64_t width = 2;
    std::int64_t height = 2;

    bool operator==(const OutputSize&) const = default;
};

// even(v): rounded down to an even integer, at least 2.
std::int64_t evenOutputDimension(double value);

OutputSize outputSize(AspectRatio ratio, ResolutionPreset preset = ResolutionPreset::p1080);
OutputSize outputSize(AspectRatio ratio, const std::optional<VideoInfo>& sourceVideo,
                      ResolutionPreset preset = ResolutionPreset::p1080);
OutputSize sourceMatchedOutputSize(std::int64_t width, std::int64_t height, ResolutionPreset preset);

// Either one solid colour or a linear gradient from `start` to `end`.
struct RenderBackground {
    enum class Kind { solid, linear };

    Kind kind = Kind::solid;
    RGBAColor start;
    RGBAColor end;  // equals `start` for a solid background

    static RenderBackground solid(RGBAColor color) { return {Kind::solid, color, color}; }
    static RenderBackground linear(RGBAColor from, RGBAColor to) { return {Kind::linear, from, to}; }

    bool operator==(const RenderBackground&) const = default;
};

struct RenderSettings;

struct RenderPreset {
    RenderBackground background;
    double cornerRadius = 0;
    double padding = 0;
    WindowChrome windowChrome = WindowChrome::browser;

    static RenderPreset preset(TemplateName name);
    // The template's preset with the settings' own choice of window chrome, when they make one.
    static RenderPreset forSettings(const RenderSettings& settings);

    bool operator==(const RenderPreset&) const = default;
};

struct RenderSettings {
    AspectRatio aspectRatio = AspectRatio::landscape16x9;
    TemplateName templateName = TemplateName::minimalDark;
    ZoomIntensity zoomIntensity = ZoomIntensity::standard;
    ResolutionPreset resolutionPreset = ResolutionPreset::p1080;
    bool backgroundEnabled = true;
    bool showCursor = true;
    bool showClickRipple = true;
    CursorTheme cursorTheme = CursorTheme::systemWhite;
    CursorEffect cursorEffect = CursorEffect::macOS;
    bool dynamicCursorScale = true;
    std::int64_t outputWidth = 1920;
    std::int64_t outputHeight = 1080;
    std::int64_t fps = 30;
    ExportQuality exportQuality = ExportQuality::standard;
    // Absent: the template's own chrome. Written only when chosen, so older files keep their bytes.
    std::optional<WindowChrome> windowChrome;
    // Written only when not classic, so older files keep their bytes.
    CursorSmoothing cursorSmoothing = CursorSmoothing::classic;
    // The camera bubble. Each key is written only when it differs from its default, so
    // projects that never changed it keep their bytes.
    bool cameraVisible = true;
    CameraPosition cameraPosition = CameraPosition::bottomRight;
    double cameraCenterX = 0.5;  // fractions of the output frame; written only for `custom`
    double cameraCenterY = 0.5;
    double cameraSize = defaultCameraSize;  // the bubble's side over the output's short side
    CameraShape cameraShape = CameraShape::circle;
    bool cameraMirror = true;
    bool cameraShadow = true;
    // How long the virtual shutter stays open, as a share of a frame interval (0.5 is a 180°
    // shutter): a moving camera and cursor are smeared along their paths over it. 0, the
    // default and never written, draws every frame sharp.
    double motionBlur = 0;
    // The look of the frame around the recording. Each is written only when chosen, so older
    // files keep their bytes; absent, the template decides.
    BackgroundChoice background;
    std::optional<double> cardPadding;       // a share of the output's short side, 0 to 0.2
    std::optional<double> cardCornerRadius;  // pixels at 1080p, scaled with the output, 0 to 64
    double shadowStrength = 1;               // the card's shadow: 0 none, 1 the template's, up to 2
    double cursorSize = 1;                   // the drawn pointer over its usual size, 0.5 to 3
    VideoLayout layout = VideoLayout::card;  // written only when not the card
    // Sound at export. Each key is written only when it differs from its default, and with
    // every default the recorded tracks are copied untouched, so older projects export as before.
    bool normalizeLoudness = false;  // each track to -16 LUFS (EBU R128, two passes)
    bool reduceNoise = false;        // each track's steady noise floor lowered
    double systemAudioVolume = 0;    // decibels, minimumTrackVolume to maximumTrackVolume
    double microphoneVolume = 0;
    bool systemAudioMuted = false;
    bool microphoneMuted = false;
    // The track that gets quieter while the other one sounds.
    std::optional<AudioTrackRole> duckedTrack;
    // Logged keyboard shortcuts shown as badges; written only when turned off.
    bool showShortcuts = true;

    // Whether any sound choice differs from its default.
    bool changesSound() const;
    double volume(AudioTrackRole role) const;
    bool muted(AudioTrackRole role) const;

    static constexpr double defaultCameraSize = 0.25;
    static constexpr double minimumCameraSize = 0.12;
    static constexpr double maximumCameraSize = 0.5;
    static constexpr double maximumCardPadding = 0.2;
    static constexpr double maximumCornerRadius = 64;
    static constexpr double maximumShadowStrength = 2;
    static constexpr double minimumCursorSize = 0.5;
    static constexpr double maximumCursorSize = 3;

    static RenderSettings defaultLandscape() { return {}; }

    // These choices with the output size that the aspect ratio and resolution give,
    // matched to the source video when the ratio is `source` and a video is known.
    RenderSettings sizedFor(const std::optional<VideoInfo>& sourceVideo = std::nullopt) const;

    UnknownKeys unknownKeys{};

    bool operator==(const RenderSettings&) const = default;
};

void to_json(Json& json, const RenderSettings& settings);
void decodeValue(const Json& json, RenderSettings& settings);

}  // namespace vantile
