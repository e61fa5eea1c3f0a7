#pragma once

#include "capture/AudioSource.h"
#include "model/AudioSettings.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace vantile {

// Records one PulseAudio source (also served by PipeWire's pulse server): system audio is the
// default sink's monitor, the microphone the named source or the default one.
class PulseAudioSource : public AudioSource {
public:
    PulseAudioSource(AudioSourceKind kind, std::optional<std::string> deviceName);
    ~PulseAudioSource() override;

    void start(Handler handler) override;
    void stop() override;
    std::optional<std::string> failure() const override;

    // Sources that are not monitors of a sink; throws RecordingError when no server answers.
    static std::vector<AudioInputDevice> listMicrophones();

    struct Connection;

private:
    AudioSourceKind kind_;
    std::optional<std::string> deviceName_;
    std::unique_ptr<Connection> connection_;
};

}  // namespace vantile
