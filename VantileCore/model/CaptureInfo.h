#pragma once

#include "model/Geometry.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace vantile {

// The capture description stored in a project.
struct CaptureInfo {
    enum class SourceType { display, window };

    SourceType sourceType = SourceType::display;
    std::optional<std::string> displayId;
    std::optional<std::string> windowId;
    std::optional<std::string> appName;
    std::optional<std::string> windowTitle;
    CGRectCodable region;
    double scaleFactor = 1;

    UnknownKeys unknownKeys{};

    bool operator==(const CaptureInfo&) const = default;
};

inline constexpr EnumTexts<CaptureInfo::SourceType, 2> sourceTypeTexts{{"display", "window"}};
inline const auto& enumTexts(CaptureInfo::SourceType) { return sourceTypeTexts; }
inline void to_json(Json& json, CaptureInfo::SourceType type) { json = sourceTypeTexts.text(type); }

void to_json(Json& json, const CaptureInfo& info);
void decodeValue(const Json& json, CaptureInfo& info);

// The raw movie.
struct VideoInfo {
    std::string path;  // file name within the project directory
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t fps = 30;

    UnknownKeys unknownKeys{};

    bool operator==(const VideoInfo&) const = default;
};

void to_json(Json& json, const VideoInfo& info);
void decodeValue(const Json& json, VideoInfo& info);

// What the screen recorder hands back when a recording stops; copied into the project.
struct RecordingResult {
    std::filesystem::path rawVideoURL;
    double duration = 0;
    VideoInfo videoInfo;

    bool operator==(const RecordingResult&) const = default;
};

}  // namespace vantile
