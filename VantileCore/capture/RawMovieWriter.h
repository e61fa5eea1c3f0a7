#pragma once

#include "capture/PlanarFrame.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace vantile {

// The encoder's speed and quality; without a preset, the screen's choice by size and rate.
struct RawMovieEncoding {
    const char* preset = nullptr;
    int constantRateFactor = 18;
    int fps = 30;
};

// Writes the raw recording: H.264 at the encoding's rate (30 or 60 fps) plus one AAC track per audio source, as
// fragmented QuickTime so a killed process still leaves a movie playable up to its last
// fragment (one per second). Used from one thread.
class RawMovieWriter {
public:
    // The rate of every movie recorded before a rate could be chosen, and of camera movies.
    static constexpr int standardFps = 30;

    using VideoEncoding = RawMovieEncoding;

    // Throws RecordingError::writerSetupFailed (or the file system's error on removal).
    RawMovieWriter(const std::filesystem::path& file, int width, int height, int audioTrackCount,
                   VideoEncoding encoding = {});
    ~RawMovieWriter();

    RawMovieWriter(const RawMovieWriter&) = delete;
    RawMovieWriter& operator=(const RawMovieWriter&) = delete;

    // frameIndex counts 1/fps s ticks from the first frame; gaps are dropped frames.
    void writeVideo(const PlanarFrame& frame, std::int64_t frameIndex);
    // Interleaved 48 kHz stereo. firstSample places the track's first chunk on the movie's
    // clock; later chunks continue where the previous one ended.
    void writeAudio(int track, std::int64_t firstSample, const float* interleaved, std::size_t frameCount);
    // Flushes the encoders and closes the file; write failures are thrown as RecordingError.
    void finish();

    int width() const;
    int height() const;
    int fps() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vantile
