#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// Independent readings of recorded movies through the ffprobe and ffmpeg command-line tools.
namespace vantile::testing {

inline std::string commandOutput(const std::string& command)
{
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    if (!pipe) return output;
    std::array<char, 65536> buffer;
    std::size_t count = 0;
    while ((count = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0) output.append(buffer.data(), count);
    return output;
}

inline std::string quoted(const std::filesystem::path& path) { return "'" + path.string() + "'"; }

// Streams and format as ffprobe reports them, with counted video frames.
inline nlohmann::json probe(const std::filesystem::path& movie)
{
    const std::string text = commandOutput("ffprobe -v error -count_frames -show_streams -show_format -of json " +
                                           quoted(movie) + " 2>/dev/null");
    return text.empty() ? nlohmann::json::object() : nlohmann::json::parse(text, nullptr, false);
}

inline nlohmann::json streamOfType(const nlohmann::json& probed, const std::string& type, int nth = 0)
{
    if (!probed.contains("streams")) return nullptr;
    for (const auto& stream : probed["streams"]) {
        if (stream.value("codec_type", "") == type && nth-- == 0) return stream;
    }
    return nullptr;
}

// One decoded frame at `seconds` as packed RGB.
inline std::vector<std::uint8_t> frameAt(const std::filesystem::path& movie, double seconds)
{
    const std::string text = commandOutput("ffmpeg -v error -ss " + std::to_string(seconds) + " -i " + quoted(movie) +
                                           " -frames:v 1 -f rawvideo -pix_fmt rgb24 - 2>/dev/null");
    return {text.begin(), text.end()};
}

// The audio stream `index`, its left channel as 48 kHz floats.
inline std::vector<float> audioSamples(const std::filesystem::path& movie, int index = 0)
{
    const std::string text = commandOutput("ffmpeg -v error -i " + quoted(movie) + " -map 0:a:" +
                                           std::to_string(index) + " -af 'pan=mono|c0=c0' -ar 48000 -f f32le - 2>/dev/null");
    std::vector<float> samples(text.size() / sizeof(float));
    std::memcpy(samples.data(), text.data(), samples.size() * sizeof(float));
    return samples;
}

}  // namespace vantile::testing
