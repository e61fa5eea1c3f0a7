#include "SoundOptions.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace vantile::cli {

namespace {

AudioTrackRole parseTrack(const std::string& option, const std::string& text)
{
    for (const AudioTrackRole role : audioTrackRoleTexts.allCases()) {
        if (audioTrackRoleTexts.text(role) == text) return role;
    }
    throw UsageError(option + ": unknown track \"" + text + "\" (system, microphone)");
}

double parseDecibels(const std::string& text)
{
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !(value >= minimumTrackVolume && value <= maximumTrackVolume)) {
        throw UsageError("--volume: expected decibels from -40 to 20, got \"" + text + "\"");
    }
    return value;
}

std::string trackName(AudioTrackRole role)
{
    return role == AudioTrackRole::system ? "system audio" : "microphone";
}

}  // namespace

const std::vector<std::string> SoundOptions::valueOptions{"--duck"};
const std::vector<std::string> SoundOptions::flagOptions{"--normalize-loudness", "--no-normalize-loudness",
                                                         "--reduce-noise", "--no-reduce-noise"};

SoundOptions::SoundOptions(std::vector<std::string>& arguments)
{
    std::vector<std::string> rest;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& option = arguments[index];
        const bool isVolume = option == "--volume";
        if (!isVolume && option != "--mute" && option != "--unmute") {
            rest.push_back(option);
            continue;
        }
        const std::size_t needed = isVolume ? 2 : 1;
        if (index + needed >= arguments.size()) {
            throw UsageError(option + (isVolume ? " needs a track and decibels" : " needs a track"));
        }
        TrackChange change{option, parseTrack(option, arguments[index + 1])};
        if (isVolume) change.volume = parseDecibels(arguments[index + 2]);
        changes_.push_back(change);
        index += needed;
    }
    arguments = std::move(rest);
}

void SoundOptions::apply(const Arguments& parsed, AudioCaptureMode recorded, RenderSettings& settings) const
{
    const std::vector<AudioTrackRole> tracks = audioTrackRoles(recorded);
    const auto requireTrack = [&](const std::string& option, AudioTrackRole role) {
        if (std::find(tracks.begin(), tracks.end(), role) == tracks.end()) {
            throw UsageError(option + ": this project has no " + trackName(role) + " track");
        }
    };
    for (const TrackChange& change : changes_) {
        requireTrack(change.option, change.track);
        const bool system = change.track == AudioTrackRole::system;
        if (change.option == "--volume") {
            (system ? settings.systemAudioVolume : settings.microphoneVolume) = change.volume;
        } else {
            (system ? settings.systemAudioMuted : settings.microphoneMuted) = change.option == "--mute";
        }
    }
    if (parsed.flag("--normalize-loudness")) settings.normalizeLoudness = true;
    if (parsed.flag("--no-normalize-loudness")) settings.normalizeLoudness = false;
    if (parsed.flag("--reduce-noise")) settings.reduceNoise = true;
    if (parsed.flag("--no-reduce-noise")) settings.reduceNoise = false;
    if (const auto duck = parsed.value("--duck")) {
        if (*duck == "none") {
            settings.duckedTrack.reset();
        } else {
            const AudioTrackRole ducked = parseTrack("--duck", *duck);
            if (tracks.size() < 2) throw UsageError("--duck: this project has not both system audio and a microphone");
            settings.duckedTrack = ducked;
        }
    }
}

}  // namespace vantile::cli
