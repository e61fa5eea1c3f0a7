#include "support/PulseAudioPlayer.h"

#include "capture/AudioSource.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace vantile {

PulseAudioPlayer::PulseAudioPlayer()
{
    const pa_sample_spec sampleFormat{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(AudioSource::sampleRate),
                              static_cast<std::uint8_t>(AudioSource::channelCount)};
    // A short buffer, as interactive programs use: the sound is heard (and monitored) when played.
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.tlength = static_cast<std::uint32_t>(pa_usec_to_bytes(50000, &sampleFormat));
    attributes.prebuf = static_cast<std::uint32_t>(-1);
    attributes.minreq = static_cast<std::uint32_t>(-1);
    attributes.fragsize = static_cast<std::uint32_t>(-1);
    int error = 0;
    stream_ = pa_simple_new(nullptr, "Vantile", PA_STREAM_PLAYBACK, nullptr, "playback", &sampleFormat, nullptr, &attributes,
                            &error);
    if (!stream_) throw std::runtime_error(std::string("cannot play sound: ") + pa_strerror(error));
}

PulseAudioPlayer::~PulseAudioPlayer()
{
    if (stream_) pa_simple_free(stream_);
}

void PulseAudioPlayer::play(const std::vector<float>& interleaved)
{
    int error = 0;
    if (pa_simple_write(stream_, interleaved.data(), interleaved.size() * sizeof(float), &error) < 0)
        throw std::runtime_error(std::string("cannot play sound: ") + pa_strerror(error));
}

void PulseAudioPlayer::drain()
{
    int error = 0;
    pa_simple_drain(stream_, &error);
}

std::vector<float> PulseAudioPlayer::tone(double frequency, double seconds, double amplitude)
{
    const auto frames = static_cast<std::size_t>(seconds * AudioSource::sampleRate);
    const double fade = 0.005 * AudioSource::sampleRate;
    std::vector<float> samples(frames * AudioSource::channelCount);
    for (std::size_t index = 0; index < frames; ++index) {
        const double envelope =
            std::min({1.0, static_cast<double>(index) / fade, static_cast<double>(frames - index) / fade});
        const auto value = static_cast<float>(
            amplitude * envelope *
            std::sin(2 * std::numbers::pi * frequency * static_cast<double>(index) / AudioSource::sampleRate));
        for (int channel = 0; channel < AudioSource::channelCount; ++channel)
            samples[index * AudioSource::channelCount + static_cast<std::size_t>(channel)] = value;
    }
    return samples;
}

}  // namespace vantile
