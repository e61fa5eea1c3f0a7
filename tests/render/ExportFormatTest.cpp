#include "RenderTestSupport.h"

#include "engine/TimelineEdits.h"
#include "render/ExportFormat.h"
#include "render/ExportManager.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using test::probe;
using vantile::testing::streamOfType;

constexpr int width = 320;
constexpr int height = 180;
constexpr double frameSeconds = 1.0 / 30;
// Recording times of white flashes, each sounding in both audio tracks for as long.
const std::vector<double> flashes = {0.5, 2.5, 4.0};
constexpr double flashLength = 0.1;

bool flashing(double time)
{
    return std::any_of(flashes.begin(), flashes.end(),
                       [&](double flash) { return time >= flash - 1e-9 && time < flash + flashLength - 1e-9; });
}

// Raw movie of 5 s with two audio tracks: 880 Hz in the first, 1320 Hz in the second.
fs::path writeFlashingMovie(const fs::path& directory)
{
    const fs::path raw = directory / "raw.mov";
    test::writeRawMovie(
        raw, width, height, 5, 2,
        [](QImage& canvas, int frame) { canvas.fill(flashing(frame * frameSeconds) ? Qt::white : Qt::darkBlue); },
        [](int track, double time) {
            return flashing(time) ? static_cast<float>(0.6 * std::sin(2 * M_PI * (track == 0 ? 880 : 1320) * time))
                                  : 0.0F;
        });
    return raw;
}

std::vector<double> flashStarts(const fs::path& movie)
{
    const std::vector<std::uint8_t> pixels = test::centrePixels(movie);
    std::vector<double> starts;
    bool white = false;
    for (std::size_t frame = 0; 3 * frame + 2 < pixels.size(); ++frame) {
        const bool now = pixels[3 * frame] > 200 && pixels[3 * frame + 1] > 200 && pixels[3 * frame + 2] > 200;
        if (now && !white) starts.push_back(static_cast<double>(frame) * frameSeconds);
        white = now;
    }
    return starts;
}

std::string fileStart(const fs::path& path)
{
    return vantile::testing::readText(path).substr(0, 64);
}

TEST(ExportFormat, MatroskaAndWebMCarryEveryAudioTrackInSyncWithAndWithoutCuts)
{
    test::TemporaryDirectory directory;
    writeFlashingMovie(directory.path());
    RecordingProject whole = test::makeProject(width, height, 5);
    whole.renderSettings.showCursor = false;
    whole.renderSettings.showClickRipple = false;
    whole.focusSegments = {{0, 5, FocusSegment::SegmentType::overview, width / 2.0, height / 2.0, 1}};
    const RecordingProject cut = TimelineEdits::withCut(whole, {1, 2});

    struct Case {
        std::string name;
        const RecordingProject& project;
        int frames;
        std::vector<double> flashes;  // output times
    };
    for (const Case& check : {Case{"whole", whole, 150, {0.5, 2.5, 4.0}}, Case{"cut", cut, 120, {0.5, 1.5, 3.0}}}) {
        for (const auto& [extension, video, audio, doctype] :
             {std::tuple<std::string, std::string, std::string, std::string>{".mkv", "h264", "aac", "matroska"},
              {".webm", "vp9", "opus", "webm"}}) {
            const std::string output = check.name + extension;
            SCOPED_TRACE(output);
            RenderJob job = test::makeJob(directory.path(), check.project, output);
            job.focusSegments = check.project.focusSegments;
            ExportManager().exportMovie(job);

            const nlohmann::json probed = probe(directory / output);
            EXPECT_EQ(probed["format"].value("format_name", ""), "matroska,webm");
            EXPECT_NE(fileStart(directory / output).find(doctype), std::string::npos);
            EXPECT_EQ(streamOfType(probed, "video").value("codec_name", ""), video);
            EXPECT_EQ(streamOfType(probed, "video").value("nb_read_frames", ""), std::to_string(check.frames));
            EXPECT_NEAR(std::stod(probed["format"].value("duration", "0")), check.frames * frameSeconds, 0.05);
            EXPECT_TRUE(streamOfType(probed, "audio", 2).is_null());
            const std::vector<double> shown = flashStarts(directory / output);
            ASSERT_EQ(shown.size(), check.flashes.size());
            for (int track = 0; track < 2; ++track) {
                EXPECT_EQ(streamOfType(probed, "audio", track).value("codec_name", ""), audio) << "track " << track;
                const std::vector<double> heard =
                    test::toneOnsets(vantile::testing::audioSamples(directory / output, track), track == 0 ? 880 : 1320);
                ASSERT_EQ(heard.size(), check.flashes.size()) << "track " << track;
                for (std::size_t index = 0; index < shown.size(); ++index) {
                    EXPECT_NEAR(shown[index], check.flashes[index], frameSeconds + 1e-6);
                    EXPECT_NEAR(heard[index], shown[index], frameSeconds + 1e-6) << "track " << track << " out of sync";
                }
            }
        }
    }
    EXPECT_EQ(directory.fileNames(),
              (std::vector<std::string>{"cut.mkv", "cut.webm", "raw.mov", "whole.mkv", "whole.webm"}));
}

TEST(ExportFormat, EveryOtherNameKeepsItsContainerAndTheListNamesEachFormat)
{
    test::TemporaryDirectory directory;
    writeFlashingMovie(directory.path());
    RecordingProject project = test::makeProject(width, height, 5);
    // QuickTime's brand for .mov and any name not listed; MPEG-4's for .mp4 in any case.
    for (const auto& [output, brand] : std::vector<std::pair<std::string, std::string>>{
             {"a.mov", "qt  "}, {"b.movie", "qt  "}, {"c.MP4", "isom"}}) {
        SCOPED_TRACE(output);
        ExportManager().exportMovie(test::makeJob(directory.path(), project, output));
        const nlohmann::json probed = probe(directory / output);
        EXPECT_EQ(probed["format"].value("format_name", ""), "mov,mp4,m4a,3gp,3g2,mj2");
        EXPECT_EQ(probed["format"]["tags"].value("major_brand", ""), brand);
        EXPECT_EQ(streamOfType(probed, "video").value("codec_name", ""), "h264");
        EXPECT_EQ(streamOfType(probed, "video").value("nb_read_frames", ""), "150");
        EXPECT_EQ(streamOfType(probed, "audio", 1).value("codec_name", ""), "aac");
    }

    std::vector<std::string> extensions;
    for (const ExportFormat& format : exportFormats()) {
        extensions.push_back(format.extension);
        EXPECT_FALSE(format.label.empty());
        EXPECT_EQ(exportContainer("/x/demo" + format.extension), format.container) << format.extension;
    }
    EXPECT_EQ(extensions, (std::vector<std::string>{".mp4", ".mov", ".mkv", ".webm", ".gif"}));
    EXPECT_EQ(exportContainer("/x/DEMO.WebM"), ExportContainer::webM);
    EXPECT_EQ(exportContainer("/x/demo.mkv.part"), ExportContainer::quickTime);
    EXPECT_EQ(exportContainer("/x/mkv"), ExportContainer::quickTime);
}

}  // namespace
}  // namespace vantile
