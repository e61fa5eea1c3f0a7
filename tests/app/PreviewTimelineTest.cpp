#include "FakeServices.h"
#include "PreviewPlayer.h"
#include "SampleProject.h"

#include "engine/TimelineEdits.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using namespace vantile::testing;

TEST(PreviewTimeline, PlaybackSkipsCutsAndTrimmedEndsLikeTheExport)
{
    TemporaryDirectory directory;
    RecordingProject project = makeSampleProject(directory.path(), 320, 180, 4);
    project = TimelineEdits::withTrim(project, {0.5, 3.4});
    project = TimelineEdits::withCut(project, {1.2, 2.6});

    PreviewPlayer player;
    std::vector<double> shown;
    QObject::connect(&player, &PreviewPlayer::frameReady, [&] { shown.push_back(player.currentTime()); });
    player.open(directory.path() / "raw.mov", project.duration);
    player.setScene(PreviewFrameRenderer::sceneFor(project, project.renderSettings));
    player.setTimeline(OutputTimeline(project));
    player.setCanvasSize(QSize(320, 180));
    ASSERT_TRUE(waitFor([&] { return !shown.empty(); }));
    shown.clear();
    player.play();
    ASSERT_TRUE(waitFor([&] { return player.isPlaying(); }));
    ASSERT_TRUE(waitFor([&] { return !player.isPlaying(); }, 20000));

    ASSERT_GT(shown.size(), 10U);
    const double frame = 1.0 / 30;
    bool sawBeforeCut = false;
    bool sawAfterCut = false;
    for (const double time : shown) {
        // Published times are the frames' own; the seek target itself may land up to a frame early.
        EXPECT_FALSE(time < 0.5 - frame) << "shows " << time << ", before the trim";
        EXPECT_FALSE(time > 1.2 + frame && time < 2.6 - frame) << "shows " << time << ", inside the cut";
        sawBeforeCut = sawBeforeCut || (time > 0.9 && time < 1.2);
        sawAfterCut = sawAfterCut || (time >= 2.6 - frame && time < 3.0);
    }
    EXPECT_TRUE(sawBeforeCut);
    EXPECT_TRUE(sawAfterCut);
    EXPECT_LT(shown.back(), 3.4 + frame) << "played past the trim's end";
}
