#pragma once

#include <vector>

struct pa_simple;

namespace vantile {

// Plays 48 kHz stereo float samples on the default sink; the demo's click sounds and the
// tests' tones. Each play() blocks until the sound is handed to the server.
class PulseAudioPlayer {
public:
    // Throws std::runtime_error when no sound server answers.
    PulseAudioPlayer();
    ~PulseAudioPlayer();

    PulseAudioPlayer(const PulseAudioPlayer&) = delete;
    PulseAudioPlayer& operator=(const PulseAudioPlayer&) = delete;

    void play(const std::vector<float>& interleaved);
    void drain();

    // A sine tone at `frequency` fading in and out over a few milliseconds.
    static std::vector<float> tone(double frequency, double seconds, double amplitude = 0.5);

private:
    pa_simple* stream_ = nullptr;
};

}  // namespace vantile
