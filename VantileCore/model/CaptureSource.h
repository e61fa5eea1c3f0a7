#pragma once

#include "model/CaptureInfo.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantile {

struct RecordingDimensions {
    std::int64_t width = 2;
    std::int64_t height = 2;

    bool operator==(const RecordingDimensions&) const = default;
};

// One recordable display or window as listed by the source provider.
struct CaptureSource {
    enum class SourceKind { display, window };

    std::string id;  // "display-<n>" or "window-<n>"; the recorder finds the live source by it
    SourceKind kind = SourceKind::display;
    std::optional<std::string> displayId;
    std::optional<std::string> windowId;
    std::string appName;
    std::string title;
    CGRectCodable region;  // global screen coordinates
    double scaleFactor = 1;

    CaptureInfo captureInfo() const;

    // The pixel size a recording of this source would have: even, at least 2, and fitted
    // between the minimum and maximum sizes while keeping the aspect ratio.
    RecordingDimensions recordingDimensions(double minWidth, double minHeight, double maxWidth,
                                            double maxHeight) const;

    bool operator==(const CaptureSource&) const = default;
};

inline constexpr EnumTexts<CaptureSource::SourceKind, 2> sourceKindTexts{{"display", "window"}};
inline const auto& enumTexts(CaptureSource::SourceKind) { return sourceKindTexts; }
inline void to_json(Json& json, CaptureSource::SourceKind kind) { json = sourceKindTexts.text(kind); }

void to_json(Json& json, const CaptureSource& source);
void decodeValue(const Json& json, CaptureSource& source);

}  // namespace vantile
