#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace vantile {

// Which sound a recording track holds.
enum class AudioSourceKind { systemAudio, microphone };

// A live audio capture delivering 48 kHz stereo float samples.
class AudioSource {
public:
    static constexpr int sampleRate = 48000;
    static constexpr int channelCount = 2;

    // Interleaved samples and the steady-clock instant of the first one. Called on the
    // source's own thread.
    using Handler = std::function<void(const float* interleaved, std::size_t frameCount,
                                       std::chrono::steady_clock::time_point firstSampleTime)>;

    virtual ~AudioSource() = default;

    // Throws RecordingError::captureStartFailed when the sound server or device is missing.
    virtual void start(Handler handler) = 0;
    virtual void stop() = 0;
    // Set once the stream ended on its own (a microphone unplugged, the server gone).
    virtual std::optional<std::string> failure() const = 0;
};

}  // namespace vantile
