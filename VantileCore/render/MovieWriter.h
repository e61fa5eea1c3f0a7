#pragma once

#include "media/FfmpegHandles.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vantile {

// FFmpeg's muxer for a movie written under this name: "mp4" for .mp4, "matroska" for .mkv,
// "webm" for .webm (any letter case), otherwise "mov" (QuickTime).
std::string containerFormatName(const std::filesystem::path& path);

struct VideoEncoderSettings {
    int width = 2;
    int height = 2;
    int fps = 30;
    // libx264's speed and quality; VP9 keeps its own fixed settings.
    std::string preset;  // empty: libx264's own default (medium)
    int crf = -1;        // negative: libx264's own default (23)
    std::string tune;    // empty: none
    std::string options;  // libx264 "key=value:..." over the preset; empty: none

    bool operator==(const VideoEncoderSettings&) const = default;
};

// Writes one H.264 (yuv420p) video track and optionally AAC audio tracks (48 kHz stereo)
// into a QuickTime, MPEG-4 or Matroska file; mp4 files get their index at the front. A WebM
// file gets VP9 video instead, and no audio tracks (it takes no AAC).
class MovieWriter {
public:
    MovieWriter(const std::filesystem::path& path, const VideoEncoderSettings& settings, int audioTrackCount = 0);
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    // A yuv420p frame of the video size, to reuse for every append.
    FrameHandle makeVideoFrame() const;
    // Presents `frame` at index / fps seconds. The encoder copies what it needs.
    void appendVideo(AVFrame& frame, std::int64_t index);
    // Interleaved stereo float samples in -1..1 for one audio track, in order.
    void appendAudio(int track, const std::vector<float>& interleavedStereo);
    // Flushes every encoder and closes the file. Without it the file is closed unfinished.
    void finish();

    static constexpr int audioSampleRate = 48000;

private:
    struct AudioTrack {
        CodecContextHandle encoder;
        AVStream* stream = nullptr;
        FrameHandle frame;
        std::vector<float> pending;  // interleaved samples waiting for a full encoder frame
        std::int64_t samplesWritten = 0;
    };

    void encodeVideo(const AVFrame* frame);
    void encodeAudioFrame(AudioTrack& track, bool flush);
    void drain(AVCodecContext& encoder, AVStream& stream);
    void fail(const std::string& step, int code);

    std::filesystem::path path_;
    OutputFormatHandle format_;
    CodecContextHandle videoEncoder_;
    AVStream* videoStream_ = nullptr;
    std::vector<AudioTrack> audioTracks_;
    PacketHandle packet_;
    bool headerWritten_ = false;
    bool finished_ = false;
};

}  // namespace vantile
