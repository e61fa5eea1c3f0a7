#pragma once

#include "support/RunCommand.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <numbers>
#include <cstdint>
#include <cstring>
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

// Independent readings of recorded movies through the ffprobe and ffmpeg command-line tools.
namespace vantile::testing {

// Streams and format as ffprobe reports them, with counted video frames.
inline nlohmann::json probe(const std::filesystem::path& movie)
{
    const std::string text = commandOutput("ffprobe -v error -count_frames -show_streams -show_format -of json " +
                                           quoteForShell(movie) + " 2>/dev/null");
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
    const std::string text = commandOutput("ffmpeg -v error -ss " + std::to_string(seconds) + " -i " + quoteForShell(movie) +
                                           " -frames:v 1 -f rawvideo -pix_fmt rgb24 - 2>/dev/null");
    return {text.begin(), text.end()};
}

inline int countVideoFrames(const std::filesystem::path& movie)
{
    const auto video = streamOfType(probe(movie), "video");
    return video.is_null() ? -1 : std::stoi(video.value("nb_read_frames", "-1"));
}

// The audio stream `index`, its left channel as 48 kHz floats on the movie's clock: a track
// that starts late begins with silence.
inline std::vector<float> audioSamples(const std::filesystem::path& movie, int index = 0)
{
    const std::string text = commandOutput("ffmpeg -v error -i " + quoteForShell(movie) + " -map 0:a:" +
                                           std::to_string(index) +
                                           " -af 'pan=mono|c0=c0,aresample=48000:async=1:first_pts=0' -f f32le - 2>/dev/null");
    std::vector<float> samples(text.size() / sizeof(float));
    std::memcpy(samples.data(), text.data(), samples.size() * sizeof(float));
    return samples;
}

// How strongly `frequency` sounds in samples [first, last) of 48 kHz audio: the amplitude of a
// sine at that frequency (Goertzel), so 0.5 for a tone of amplitude 0.5 and near 0 without it.
inline double toneLevel(const std::vector<float>& samples, double frequency, std::size_t first, std::size_t last)
{
    last = std::min(last, samples.size());
    if (last <= first) return 0;
    const double coefficient = 2 * std::cos(2 * std::numbers::pi * frequency / 48000);
    double previous = 0, beforePrevious = 0;
    for (std::size_t index = first; index < last; ++index) {
        const double current = samples[index] + coefficient * previous - beforePrevious;
        beforePrevious = previous;
        previous = current;
    }
    const double power = previous * previous + beforePrevious * beforePrevious - coefficient * previous * beforePrevious;
    return 2 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(last - first);
}

// The integrated loudness (LUFS) of audio stream `index` as ffmpeg's ebur128 filter measures it;
// NaN when it measured nothing.
inline double integratedLoudness(const std::filesystem::path& movie, int index = 0)
{
    const std::string summary = commandOutput("ffmpeg -nostats -v info -i " + quoteForShell(movie) + " -map 0:a:" +
                                              std::to_string(index) +
                                              " -af ebur128=framelog=verbose -f null - 2>&1 | grep -E '^ +I:' | tail -1");
    const auto colon = summary.find(':');
    if (colon == std::string::npos) return std::nan("");
    return std::strtod(summary.c_str() + colon + 1, nullptr);
}

// From the first video packet's start to the last one's end, as ffprobe reads the file,
// independently of our own reader; 0 when it holds no packet.
inline double videoPacketSeconds(const std::filesystem::path& movie)
{
    const std::string packets = commandOutput(
        "ffprobe -v error -select_streams v -show_entries packet=pts_time,duration_time -of csv=p=0 " +
        quoteForShell(movie) + " 2>/dev/null");
    double first = 1e9, end = 0;
    std::istringstream lines(packets);
    for (std::string line; std::getline(lines, line);) {
        const auto comma = line.find(',');
        if (comma == std::string::npos) continue;
        const double time = std::stod(line.substr(0, comma));
        first = std::min(first, time);
        end = std::max(end, time + std::stod(line.substr(comma + 1)));
    }
    return end > 0 ? end - first : 0;
}

// Each video frame's presentation time and the colour of the pixel at the picture's centre, in
// order: a dropped frame leaves a gap in the times, not a shifted picture.
struct CentreSample {
    double time;
    int red, green, blue;
};

inline std::vector<CentreSample> centreSamples(const std::filesystem::path& movie)
{
    std::vector<double> times;
    std::istringstream lines(commandOutput("ffprobe -v error -select_streams v -show_entries frame=pts_time -of csv=p=0 " +
                                           quoteForShell(movie) + " 2>/dev/null"));
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) times.push_back(std::stod(line));
    const std::string pixels = commandOutput("ffmpeg -v error -i " + quoteForShell(movie) +
                                             " -fps_mode passthrough -vf crop=2:2 -f rawvideo -pix_fmt rgb24 - 2>/dev/null");
    std::vector<CentreSample> samples;
    for (std::size_t index = 0; index < times.size() && (index + 1) * 12 <= pixels.size(); ++index) {
        const auto* pixel = reinterpret_cast<const std::uint8_t*>(pixels.data() + index * 12);
        samples.push_back({times[index], pixel[0], pixel[1], pixel[2]});
    }
    return samples;
}

}  // namespace vantile::testing
