#include "render/SourceFrameProvider.h"
#include "render/RenderTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vantile;
using namespace vantile::test;

// Export over cuts asks for times that jump ahead; the provider restarts at a keyframe then and
// must still answer the frame of each time, never a neighbour.
TEST(SourceFrameJump, JumpsOverCutsAndTrimsAnswerTheExactFrame)
{
    TemporaryDirectory directory;
    const auto movie = directory.path() / "raw.mov";
    // Luma 16 + frame index, lossless, a keyframe each second as the recorder writes them.
    const CommandResult made = runCommand({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                                           "color=black:s=64x64:r=30:d=8,geq=lum='16+N':cb=128:cr=128", "-c:v",
                                           "libx264", "-qp", "0", "-g", "30", "-pix_fmt", "yuv420p", movie.string()});
    ASSERT_EQ(made.exitCode, 0) << made.standardError;

    SourceFrameProvider source(movie);
    std::vector<double> times;
    for (const auto& [from, to] : std::vector<std::pair<int, int>>{{35, 40}, {41, 45}, {125, 130}, {131, 133}, {200, 239}}) {
        for (int frame = from; frame < to; ++frame) times.push_back(frame / 30.0);
    }
    for (const double time : times) {
        const AVFrame* frame = source.decodedFrame(time);
        ASSERT_NE(frame, nullptr) << time;
        EXPECT_EQ(frame->data[0][0], 16 + static_cast<int>(std::lround(time * 30))) << "at " << time;
    }
}
