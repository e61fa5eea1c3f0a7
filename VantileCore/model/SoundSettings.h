#pragma once

#include "model/AudioSettings.h"
#include "model/JsonCoding.h"

#include <vector>

namespace vantile {

// Which recorded track a sound choice is about.
enum class AudioTrackRole { system, microphone };

inline constexpr EnumTexts<AudioTrackRole, 2> audioTrackRoleTexts{{"system", "microphone"}};
inline const auto& enumTexts(AudioTrackRole) { return audioTrackRoleTexts; }
inline void to_json(Json& json, AudioTrackRole value) { json = audioTrackRoleTexts.text(value); }

// The raw movie's audio tracks in the order the recorder writes them: system audio first.
inline std::vector<AudioTrackRole> audioTrackRoles(AudioCaptureMode mode)
{
    std::vector<AudioTrackRole> roles;
    if (capturesSystemAudio(mode)) roles.push_back(AudioTrackRole::system);
    if (capturesMicrophone(mode)) roles.push_back(AudioTrackRole::microphone);
    return roles;
}

// A track's own gain at export, in decibels.
inline constexpr double minimumTrackVolume = -40;
inline constexpr double maximumTrackVolume = 20;

}  // namespace vantile
