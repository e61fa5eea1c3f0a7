#pragma once

#include "model/CaptureSource.h"
#include "model/RecordingProject.h"
#include "store/ProjectFileManager.h"

#include <filesystem>

namespace vantile {

// What a recording notes in its project directory as it starts, so that a recording cut off
// before its stop flow ran can still be finished from what is on disk.
struct RecordingStart {
    CaptureSource source;
    AudioCaptureSettings audioSettings;
    RenderSettings renderSettings;
    Timestamp createdAt{};

    bool operator==(const RecordingStart&) const = default;
};

void writeRecordingStart(const RecordingStart& start, const std::filesystem::path& projectDirectory);

// The part of a raw movie a player can play (a killed recorder leaves a torn tail): its
// frame size, frame rate and the end of its last whole video frame.
RecordingResult playableRawMovie(const std::filesystem::path& rawMovie);

// Finishes an unfinished recording exactly as the stop flow would have: the raw movie's
// playable length, the journal's events up to it, mapped, planned, smoothed and saved (which
// removes the journal). Throws RecordingError (recoveryFailed) or the store's error.
RecordingProject recoverRecording(const std::filesystem::path& projectDirectory, const ProjectFileManager& files);

}  // namespace vantile
