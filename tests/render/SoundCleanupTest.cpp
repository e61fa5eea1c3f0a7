#include "engine/TimelineEdits.h"
#include "render/RenderJob.h"
#include "render/RenderTestSupport.h"
#include "render/VideoFileWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

using namespace vantile;
using namespace vantile::test;
namespace fs = std::filesystem;

namespace {

constexpr int width = 160;
constexpr int height = 90;
constexpr std::size_t rate = 48000;

// Repeatable white noise in [-amplitude, amplitude] for the sample at `seconds`.
float noiseAt(double seconds, double amplitude)
{
    auto state = static_cast<std::uint64_t>(std::llround(seconds * rate)) * 0x9E3779B97F4A7C15ULL;
    state ^= state >> 31;
    state *= 0xBF58476D1CE4E5B9ULL;
    state ^= state >> 29;
    return static_cast<float>(amplitude * (static_cast<double>(state % 20001) / 10000.0 - 1.0));
}

float tone(double seconds, double frequency, double amplitude)
{
    return static_cast<float>(amplitude * std::sin(2 * M_PI * frequency * seconds));
}

// A project with system audio (track 0) and a microphone (track 1) in `directory`/raw.mov.
RecordingProject projectWithSound(const fs::path& directory, double duration, const SoundAt& sound)
{
    writeRawMovie(directory / "raw.mov", width, height, duration, 2, [](QImage& canvas, int) { canvas.fill(Qt::gray); },
                  sound);
    RecordingProject project = makeProject(width, height, duration);
    project.audioSettings.mode = AudioCaptureMode::systemAndMicrophone;
    project.renderSettings.outputWidth = 160;
    project.renderSettings.outputHeight = 90;
    return project;
}

fs::path exportWith(const fs::path& directory, RecordingProject project, const RenderSettings& settings,
                    const std::string& name)
{
    project.renderSettings = settings;
    const RenderJob job = makeJob(directory, project, name);
    VideoFileWriter::writeRenderedDemo(job);
    return job.outputURL;
}

double rmsDecibels(const std::vector<float>& samples, double fromSeconds, double toSeconds)
{
    const auto first = static_cast<std::size_t>(fromSeconds * rate);
    const auto last = std::min(samples.size(), static_cast<std::size_t>(toSeconds * rate));
    double energy = 0;
    for (std::size_t index = first; index < last; ++index) energy += static_cast<double>(samples[index]) * samples[index];
    return last > first ? 10 * std::log10(energy / static_cast<double>(last - first) + 1e-20) : -200;
}

}  // namespace

TEST(SoundCleanup, NormalisedTracksReadMinus16LufsWhetherTheyWereQuietOrLoud)
{
    TemporaryDirectory directory;
    const RecordingProject project = projectWithSound(directory.path(), 5, [](int track, double seconds) {
        return track == 0 ? tone(seconds, 440, 0.01) : tone(seconds, 660, 0.5);
    });
    ASSERT_LT(vantile::testing::integratedLoudness(directory.path() / "raw.mov", 0), -40);

    RenderSettings settings = project.renderSettings;
    settings.normalizeLoudness = true;
    const fs::path output = exportWith(directory.path(), project, settings, "normalised.mp4");

    const Json probed = probe(output);
    ASSERT_EQ(probed["streams"].size(), 3U) << probed.dump();
    EXPECT_EQ(vantile::testing::streamOfType(probed, "audio", 0)["sample_rate"], "48000");
    EXPECT_NEAR(vantile::testing::integratedLoudness(output, 0), -16, 1) << "the quiet system track";
    EXPECT_NEAR(vantile::testing::integratedLoudness(output, 1), -16, 1) << "the loud microphone";
    // Normalised with one gain: the tone is still the tone, not pumped.
    const std::vector<float> quiet = vantile::testing::audioSamples(output, 0);
    EXPECT_NEAR(rmsDecibels(quiet, 1, 2), rmsDecibels(quiet, 3, 4), 0.5);
    EXPECT_GT(vantile::testing::toneLevel(quiet, 440, rate, 2 * rate), 0.1);
    for (const auto& entry : fs::directory_iterator(directory.path())) {
        EXPECT_NE(entry.path().filename().string().front(), '.') << "left behind: " << entry.path();
    }
}

TEST(SoundCleanup, NoiseReductionLowersTheNoiseFloorAndKeepsTheTone)
{
    TemporaryDirectory directory;
    // Hiss throughout, a tone over it for the first two seconds.
    const RecordingProject project = projectWithSound(directory.path(), 4, [](int, double seconds) {
        return noiseAt(seconds, 0.03) + (seconds < 2 ? tone(seconds, 1000, 0.3) : 0.0F);
    });
    RenderSettings settings = project.renderSettings;
    settings.reduceNoise = true;
    const fs::path cleaned = exportWith(directory.path(), project, settings, "cleaned.mp4");
    const std::vector<float> before = vantile::testing::audioSamples(directory.path() / "raw.mov", 1);
    const std::vector<float> after = vantile::testing::audioSamples(cleaned, 1);

    const double floorBefore = rmsDecibels(before, 2.5, 3.8);
    const double floorAfter = rmsDecibels(after, 2.5, 3.8);
    EXPECT_LE(floorAfter, floorBefore - 6) << "noise floor " << floorBefore << " dB became " << floorAfter << " dB";
    const double toneBefore = vantile::testing::toneLevel(before, 1000, rate / 2, 3 * rate / 2);
    const double toneAfter = vantile::testing::toneLevel(after, 1000, rate / 2, 3 * rate / 2);
    EXPECT_NEAR(20 * std::log10(toneAfter / toneBefore), 0, 1) << "the tone lost or gained level";
}

TEST(SoundCleanup, MutedTrackIsSilentVolumeChangesTheOtherAndDuckingDipsUnderTheOtherTrack)
{
    TemporaryDirectory directory;
    // The system track sounds only from 2 s to 3.5 s; the microphone speaks throughout.
    const RecordingProject project = projectWithSound(directory.path(), 5, [](int track, double seconds) {
        if (track == 0) return seconds >= 2 && seconds < 3.5 ? tone(seconds, 440, 0.3) : 0.0F;
        return tone(seconds, 880, 0.2);
    });
    const std::vector<float> microphoneBefore = vantile::testing::audioSamples(directory.path() / "raw.mov", 1);

    RenderSettings muted = project.renderSettings;
    muted.systemAudioMuted = true;
    muted.microphoneVolume = -6;
    const fs::path mutedOutput = exportWith(directory.path(), project, muted, "muted.mp4");
    const std::vector<float> system = vantile::testing::audioSamples(mutedOutput, 0);
    const std::vector<float> microphone = vantile::testing::audioSamples(mutedOutput, 1);
    ASSERT_GT(system.size(), 4 * rate);
    EXPECT_LT(rmsDecibels(system, 0, 5), -90) << "the muted track is heard";
    EXPECT_NEAR(rmsDecibels(microphone, 0.5, 4.5) - rmsDecibels(microphoneBefore, 0.5, 4.5), -6, 0.3);

    // Ducked, with a second cut out of the recording: the cleaned tracks keep the recording's
    // clock, so the cut takes the same second out of both (output = recording - 1 after it).
    RenderSettings ducked = project.renderSettings;
    ducked.duckedTrack = AudioTrackRole::microphone;
    const RecordingProject cut = TimelineEdits::withCut(project, {0.5, 1.5});
    const fs::path duckedOutput = exportWith(directory.path(), cut, ducked, "ducked.mp4");
    const std::vector<float> duckedMicrophone = vantile::testing::audioSamples(duckedOutput, 1);
    const std::vector<float> keptSystem = vantile::testing::audioSamples(duckedOutput, 0);
    const std::vector<double> systemOnsets = toneOnsets(keptSystem, 440);
    ASSERT_EQ(systemOnsets.size(), 1U);
    EXPECT_NEAR(systemOnsets.front(), 1.0, 0.01);
    const double under = rmsDecibels(duckedMicrophone, 1.5, 2.4);
    const double alone = rmsDecibels(duckedMicrophone, 3.4, 3.95);
    EXPECT_NEAR(alone, rmsDecibels(microphoneBefore, 4.4, 4.95), 1) << "the microphone does not come back";
    EXPECT_LE(under, alone - 10) << "the microphone is not ducked while the system track sounds";
    EXPECT_NEAR(rmsDecibels(keptSystem, 1.2, 2.3),
                rmsDecibels(vantile::testing::audioSamples(directory.path() / "raw.mov", 0), 2.2, 3.3), 0.3)
        << "the track ducked under changed";
}

TEST(SoundCleanup, DefaultSoundExportsTheRecordedSamplesUntouched)
{
    TemporaryDirectory directory;
    const RecordingProject project = projectWithSound(directory.path(), 2, [](int track, double seconds) {
        return noiseAt(seconds + track, 0.05) + tone(seconds, 500, 0.2);
    });
    RenderSettings settings = project.renderSettings;
    ASSERT_FALSE(settings.changesSound());
    const fs::path output = exportWith(directory.path(), project, settings, "plain.mp4");
    for (int track = 0; track < 2; ++track) {
        const std::vector<float> recorded = vantile::testing::audioSamples(directory.path() / "raw.mov", track);
        const std::vector<float> exported = vantile::testing::audioSamples(output, track);
        ASSERT_GT(exported.size(), rate);
        ASSERT_LE(exported.size(), recorded.size());
        EXPECT_TRUE(std::equal(exported.begin(), exported.end(), recorded.begin())) << "track " << track << " changed";
    }
}
