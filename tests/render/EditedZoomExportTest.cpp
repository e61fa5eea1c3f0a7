#include "RenderTestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using test::runCommand;

// Mean absolute difference of the two pictures' colour channels, 0 to 255.
double meanDifference(const QImage& a, const QImage& b)
{
    if (a.isNull() || a.size() != b.size()) return 255;
    long long sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    }
    return static_cast<double>(sum) / (3.0 * a.width() * a.height());
}

// Small and without the template's padding, so the video fills the picture.
fs::path exported(const fs::path& project)
{
    const fs::path movie = project / "small.mp4";
    const auto result = runCommand({VANTILE_CLI, "export", project.string(), "-o", movie.string(), "--aspect", "source",
                                    "--resolution", "720p", "--no-background"});
    EXPECT_EQ(result.exitCode, 0) << result.standardError;
    return movie;
}

void edit(const fs::path& project, const std::vector<std::string>& options)
{
    std::vector<std::string> arguments{VANTILE_CLI, "edit", project.string()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const auto result = runCommand(arguments);
    ASSERT_EQ(result.exitCode, 0) << result.standardError;
}

// The sample's director ends on a scroll focus from 7.8 s to the end; without it, on the overview.
// Either way, after the zoom the exported picture is what it was without the zoom, not a 2x crop.
TEST(EditedZoomExport, AfterTheZoomTheMovieShowsWhatItShowedWithoutIt)
{
    test::TemporaryDirectory root;
    const fs::path directed = root.path() / "directed";
    const auto sample = runCommand({VANTILE_CLI, "sample", directed.string(), "--duration", "10", "--width", "320",
                                    "--height", "180"});
    ASSERT_EQ(sample.exitCode, 0) << sample.standardError;
    const fs::path overview = root.path() / "overview";
    fs::copy(directed, overview, fs::copy_options::recursive);
    edit(overview, {"--remove-zoom", "1"});

    for (const fs::path& project : {directed, overview}) {
        SCOPED_TRACE(project.filename().string());
        const fs::path zoomed = root.path() / (project.filename().string() + "-zoomed");
        fs::copy(project, zoomed, fs::copy_options::recursive);
        edit(zoomed, {"--zoom", "7", "8", "100", "60", "2"});
        const fs::path before = exported(project);
        const fs::path after = exported(zoomed);

        const QImage zoomedFrame = test::decodeFrame(after, 7.5);
        ASSERT_FALSE(zoomedFrame.isNull());
        EXPECT_GT(meanDifference(zoomedFrame, test::decodeFrame(before, 7.5)), 12) << "the zoom does not show";
        const double afterZoom = meanDifference(test::decodeFrame(after, 9.5), test::decodeFrame(before, 9.5));
        // The encoder's reference frames differ after the zoom, which leaves about 2 levels of noise
        // on the same picture; a 2x crop differs by about 30.
        EXPECT_LT(afterZoom, 5) << "the camera did not come back after the zoom";
    }
}

}  // namespace
}  // namespace vantile
