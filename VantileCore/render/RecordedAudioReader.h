#pragma once

#include "media/FfmpegHandles.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

namespace vantile {

// Decodes every audio track of a movie into planar float frames on the movie's clock from
// time zero: a late start or a gap plays as silence, and every track is padded with silence
// to the end of the longest, so tracks can be mixed or filtered against each other.
class RecordedAudioReader {
public:
    struct Track {
        int sampleRate = 0;
        AVChannelLayout layout{};
        AVDictionary* metadata = nullptr;  // owned by the movie
    };

    // Throws RenderError when the movie cannot be read; a movie without audio has no tracks.
    explicit RecordedAudioReader(const std::filesystem::path& movie);
    ~RecordedAudioReader();
    RecordedAudioReader(const RecordedAudioReader&) = delete;
    RecordedAudioReader& operator=(const RecordedAudioReader&) = delete;

    const std::vector<Track>& tracks() const { return tracks_; }

    // Calls `take` with each track's frames in order (pts counted in samples at the track's
    // rate), the tracks interleaved as the movie stores them. Each call reads from the start.
    using TakeFrame = std::function<void(std::size_t track, const AVFrame& frame)>;
    void readAll(const TakeFrame& take);

private:
    struct Decoding;

    std::filesystem::path movie_;
    std::vector<Track> tracks_;
    std::vector<int> streams_;
    InputFormatHandle input_;
};

}  // namespace vantile
