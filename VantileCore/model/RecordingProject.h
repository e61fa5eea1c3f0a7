#pragma once

#include "model/AudioSettings.h"
#include "model/BlurRegion.h"
#include "model/CameraRecording.h"
#include "model/CaptureInfo.h"
#include "model/CursorFrame.h"
#include "model/ExportRecord.h"
#include "model/FocusSegment.h"
#include "model/InputEvent.h"
#include "model/RecordingCrop.h"
#include "model/RenderSettings.h"
#include "model/SpeedRegion.h"
#include "model/TextCallout.h"
#include "model/TimeRange.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

using Timestamp = std::chrono::system_clock::time_point;

// ISO 8601 in UTC with whole seconds: "2026-11-15T17:57:21Z".
std::string formatISO8601(Timestamp instant);
// Accepts "Z" or a ±hh:mm offset and optional fractional seconds; throws DecodingError.
Timestamp parseISO8601(const std::string& text);

// The persisted record of one recording.
struct RecordingProject {
    std::string id;
    Timestamp createdAt;
    double duration = 0;
    CaptureInfo capture;
    VideoInfo video;
    std::vector<InputEvent> events;
    std::vector<FocusSegment> focusSegments;
    std::vector<CursorFrame> cursorFrames;
    RenderSettings renderSettings;
    AudioCaptureSettings audioSettings;
    std::string rawVideoPath = "raw.mov";  // a bare name is relative to the project directory
    std::optional<std::string> previewVideoPath;
    std::optional<std::string> exportVideoPath;  // the latest export
    // Every export still remembered, oldest first; one per file.
    std::vector<ExportRecord> exports;
    // The user's timeline edit: the kept stretch of the recording and the stretches cut out of it.
    std::optional<TimeRange> trim;
    std::vector<TimeRange> cuts;
    // Stretches played faster or slower, sorted by start, never overlapping.
    std::vector<SpeedRegion> speedRegions;
    // The webcam recorded beside the screen; absent for a take without one.
    std::optional<CameraRecording> camera;
    // Captions over the output frame, in the order they were added.
    std::vector<TextCallout> textCallouts;
    // Rectangles made unreadable for a while (privacy blur).
    std::vector<BlurRegion> blurRegions{};
    // The part of the picture kept; everything from planning to export sees only it.
    std::optional<RecordingCrop> crop{};
    // The keyboard shortcuts (numbered in the order they were pressed, from 0) whose badges are
    // not shown; sorted, each once.
    std::vector<std::int64_t> hiddenShortcuts{};

    UnknownKeys unknownKeys{};

    bool operator==(const RecordingProject&) const = default;
};

void to_json(Json& json, const RecordingProject& project);
// Tolerant: only id, createdAt, duration, capture and video are required, so projects of
// earlier versions still open; a present key of the wrong type still fails.
void decodeValue(const Json& json, RecordingProject& project);

}  // namespace vantile
