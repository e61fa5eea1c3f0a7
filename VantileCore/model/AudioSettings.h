#pragma once

#include "model/JsonCoding.h"

#include <optional>
#include <string>

namespace vantile {

enum class AudioCaptureMode { none, system, microphone, systemAndMicrophone };

inline constexpr EnumTexts<AudioCaptureMode, 4> audioCaptureModeTexts{{
    "none", "system", "microphone", "systemAndMicrophone",
}};
inline const auto& enumTexts(AudioCaptureMode) { return audioCaptureModeTexts; }
inline void to_json(Json& json, AudioCaptureMode mode) { json = audioCaptureModeTexts.text(mode); }

inline bool capturesSystemAudio(AudioCaptureMode mode)
{
    return mode == AudioCaptureMode::system || mode == AudioCaptureMode::systemAndMicrophone;
}

inline bool capturesMicrophone(AudioCaptureMode mode)
{
    return mode == AudioCaptureMode::microphone || mode == AudioCaptureMode::systemAndMicrophone;
}

struct AudioCaptureSettings {
    AudioCaptureMode mode = AudioCaptureMode::none;
    std::optional<std::string> microphoneDeviceID;  // absent = the system's default input

    UnknownKeys unknownKeys{};

    bool operator==(const AudioCaptureSettings&) const = default;
};

void to_json(Json& json, const AudioCaptureSettings& settings);
void decodeValue(const Json& json, AudioCaptureSettings& settings);

// One selectable microphone.
struct AudioInputDevice {
    std::string id;
    std::string name;

    bool operator==(const AudioInputDevice&) const = default;
};

void to_json(Json& json, const AudioInputDevice& device);
void decodeValue(const Json& json, AudioInputDevice& device);

}  // namespace vantile
