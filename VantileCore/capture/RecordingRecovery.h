#pragma once

#include "capture/RawMovieWriter.h"
#include "model/CaptureSource.h"
#include "model/RecordingProject.h"
#include "store/ProjectFileManager.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace vantile {

// What a recording notes in its project directory as it starts, so that a recording cut off
// before its stop flow ran can still be finished from what is on disk.
struct RecordingStart {
    CaptureSource source;
    AudioCaptureSettings audioSettings;
    RenderSettings renderSettings;
    Timestamp createdAt{};
    // The rate the movie is written at; a truncated movie's measured rate falls short of it
    // when frames were dropped.
    std::int64_t fps = RawMovieWriter::standardFps;

    bool operator==(const RecordingStart&) const = default;
};

// What a recovery saved, and how much of the input journal it had to skip.
struct RecoveredRecording {
    RecordingProject project;
    std::size_t skippedJournalLines = 0;

    bool operator==(const RecoveredRecording&) const = default;
};

// A journal with damaged lines is kept in the project directory under this name.
inline constexpr const char* damagedJournalFileName = "events.journal.damaged";

void writeRecordingStart(const RecordingStart& start, const std::filesystem::path& projectDirectory);

// The part of a raw movie a player can play (a killed recorder leaves a torn tail): its
// frame size and the end of its last whole video frame; `fps` is the rate it was written at.
RecordingResult playableRawMovie(const std::filesystem::path& rawMovie, std::int64_t fps);

// Finishes an unfinished recording exactly as the stop flow would have: the raw movie's
// playable length, the journal's events up to it, mapped, planned, smoothed and saved (which
// removes the journal). Damaged journal lines are skipped; such a journal is first copied to
// `damagedJournalFileName` beside the movie. Throws RecordingError (recoveryFailed) or the
// store's error.
RecoveredRecording recoverRecording(const std::filesystem::path& projectDirectory, const ProjectFileManager& files);

}  // namespace vantile
