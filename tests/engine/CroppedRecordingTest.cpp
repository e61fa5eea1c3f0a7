#include "engine/CropEdits.h"
#include "engine/CroppedRecording.h"
#include "engine/TimelineEdits.h"
#include "engine/TimelineModel.h"

#include "EngineTestSupport.h"
#include "support/EditRefusal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace vantile;
using vantile::testing::makeEvent;
using vantile::testing::refusal;
using Type = InputEvent::EventType;

namespace {

RecordingProject project20s()
{
    RecordingProject project;
    project.id = "crop";
    project.duration = 20;
    project.video = {"raw.mov", 1280, 720, 30};
    return project;
}

// The obvious reading: a point inside the crop moves by its origin, one outside lands on the
// nearest edge of the crop.
CodablePoint expectedInside(double x, double y, const RecordingCrop& crop)
{
    const auto clamp = [](double value, double low, double high) { return value < low ? low : value > high ? high : value; };
    return {clamp(x, static_cast<double>(crop.x), static_cast<double>(crop.x + crop.width)) - static_cast<double>(crop.x),
            clamp(y, static_cast<double>(crop.y), static_cast<double>(crop.y + crop.height)) - static_cast<double>(crop.y)};
}

}  // namespace

// Generated projects and crops: the view is the crop's size, every point in it is the obvious
// reading of the whole recording's point, blur rectangles are clipped, overviews look at the
// middle, the plan for a cropped project zooms only inside the crop, and the view of an uncropped
// project is the project itself.
TEST(CroppedRecording, TheViewMovesAndClampsEveryPointAndThePlanStaysInsideTheCrop)
{
    std::mt19937 random(20261126);
    std::uniform_real_distribution<double> anyX(-50, 1330);
    std::uniform_real_distribution<double> anyY(-50, 770);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        RecordingProject project = project20s();
        const auto even = [&](int low, int high) { return 2 * std::uniform_int_distribution<int>(low / 2, high / 2)(random); };
        RecordingCrop crop;
        crop.width = even(64, 1200);
        crop.height = even(64, 700);
        crop.x = even(0, static_cast<int>(1280 - crop.width));
        crop.y = even(0, static_cast<int>(720 - crop.height));
        for (int index = 0; index < 60; ++index) {
            const double time = 0.3 * index;
            const double x = anyX(random);
            const double y = anyY(random);
            project.events.push_back(makeEvent(time, index % 3 == 0 ? Type::leftMouseDown : Type::mouseMove, x, y));
            if (index % 3 == 0) project.events.push_back(makeEvent(time + 0.05, Type::leftMouseUp, x, y));
            project.cursorFrames.push_back({time, anyX(random), anyY(random)});
        }
        project.focusSegments = {{0, 4, FocusSegment::SegmentType::overview, 640, 360, 1},
                                 {4, 9, FocusSegment::SegmentType::clickFocus, anyX(random), anyY(random), 2, true}};
        project.blurRegions = {{1, 2, anyX(random), anyY(random), 200, 150}, {1, 2, 1200, 10, 70, 50}};
        EXPECT_EQ(CroppedRecording::view(project), project);

        project.crop = crop;
        const RecordingProject view = CroppedRecording::view(project);
        EXPECT_FALSE(view.crop);
        EXPECT_EQ(view.video.width, crop.width);
        EXPECT_EQ(view.video.height, crop.height);
        ASSERT_EQ(view.events.size(), project.events.size());
        for (std::size_t index = 0; index < view.events.size(); ++index) {
            const CodablePoint expected = expectedInside(project.events[index].x, project.events[index].y, crop);
            EXPECT_EQ(view.events[index].x, expected.x);
            EXPECT_EQ(view.events[index].y, expected.y);
            EXPECT_EQ(view.events[index].type, project.events[index].type);
        }
        for (std::size_t index = 0; index < view.cursorFrames.size(); ++index) {
            const CodablePoint expected =
                expectedInside(project.cursorFrames[index].x, project.cursorFrames[index].y, crop);
            EXPECT_EQ(view.cursorFrames[index].x, expected.x);
            EXPECT_EQ(view.cursorFrames[index].y, expected.y);
        }
        EXPECT_EQ(view.focusSegments[0].centerX, static_cast<double>(crop.width) / 2);
        EXPECT_EQ(view.focusSegments[0].centerY, static_cast<double>(crop.height) / 2);
        const FocusSegment& zoom = project.focusSegments[1];
        EXPECT_EQ(CodablePoint(view.focusSegments[1].centerX, view.focusSegments[1].centerY),
                  expectedInside(zoom.centerX, zoom.centerY, crop));
        for (const BlurRegion& region : view.blurRegions) {
            EXPECT_GT(region.width, 0);
            EXPECT_GE(region.x, 0);
            EXPECT_LE(region.x + region.width, static_cast<double>(crop.width) + 1e-9);
            EXPECT_LE(region.y + region.height, static_cast<double>(crop.height) + 1e-9);
        }

        // The director's plan, back in the whole recording's pixels, looks only inside the crop.
        for (const FocusSegment& segment : TimelineEdits::plannedSegments(project)) {
            EXPECT_GE(segment.centerX, static_cast<double>(crop.x));
            EXPECT_LE(segment.centerX, static_cast<double>(crop.x + crop.width));
            EXPECT_GE(segment.centerY, static_cast<double>(crop.y));
            EXPECT_LE(segment.centerY, static_cast<double>(crop.y + crop.height));
        }
        const CodablePoint back = CroppedRecording::pointInRecording({10, 20}, project.crop);
        EXPECT_EQ(back, CodablePoint(static_cast<double>(crop.x) + 10, static_cast<double>(crop.y) + 20));
    }
}

// Asked rectangles are taken inward to even pixels; outside, tiny or non-finite ones are refused.
// Setting a crop re-plans the automatic zooms for it, keeps the user's, and is one undo step.
TEST(CropEdits, RectanglesAreTakenInwardPlansFollowAndUndoRestoresTheWholePicture)
{
    RecordingProject project = project20s();
    EXPECT_EQ(CropEdits::fitted(project, 101, 51, 640, 360), (RecordingCrop{102, 52, 638, 358}));
    EXPECT_EQ(CropEdits::fitted(project, 0, 0, 1280, 720), (RecordingCrop{0, 0, 1280, 720}));
    EXPECT_EQ(refusal([&] { CropEdits::fitted(project, 700, 0, 600, 300); }),
              "The crop 600x300 at 700,0 reaches outside the 1280x720 recording.");
    EXPECT_EQ(refusal([&] { CropEdits::fitted(project, -2, 0, 600, 300); }),
              "The crop 600x300 at -2,0 reaches outside the 1280x720 recording.");
    EXPECT_EQ(refusal([&] { CropEdits::fitted(project, 1, 1, 64, 64); }),
              "The crop 64x64 at 1,1 is too small; each side needs at least 64 pixels.");
    EXPECT_EQ(refusal([&] { CropEdits::fitted(project, 0, 0, std::nan(""), 64); }), "The crop needs finite numbers.");

    // Clicks on the left half only; a crop of the right half leaves nothing to zoom into there.
    for (int index = 0; index < 6; ++index) {
        project.events.push_back(makeEvent(2.0 + index, Type::leftMouseDown, 200 + 20 * index, 300));
        project.events.push_back(makeEvent(2.05 + index, Type::leftMouseUp, 200 + 20 * index, 300));
    }
    project.focusSegments = TimelineEdits::plannedSegments(project);
    const FocusSegment userZoom{15, 17, FocusSegment::SegmentType::clickFocus, 1000, 500, 2, true};
    project = TimelineEdits::withZoom(project, userZoom);
    const auto zooms = [](const RecordingProject& edited) {
        return std::count_if(edited.focusSegments.begin(), edited.focusSegments.end(), [](const FocusSegment& segment) {
            return segment.type != FocusSegment::SegmentType::overview && !segment.edited;
        });
    };
    ASSERT_GT(zooms(project), 0);

    TimelineModel model(project);
    model.setCrop(RecordingCrop{640, 0, 640, 720});
    EXPECT_EQ(model.project().crop, (RecordingCrop{640, 0, 640, 720}));
    EXPECT_EQ(std::count(model.project().focusSegments.begin(), model.project().focusSegments.end(), userZoom), 1);
    for (const FocusSegment& segment : model.project().focusSegments) {
        if (segment.type != FocusSegment::SegmentType::overview) {
            EXPECT_GE(segment.centerX, 640) << Json(segment).dump();
        }
    }
    model.setCrop(RecordingCrop{640, 0, 640, 720});  // the same crop: no new step
    EXPECT_EQ(refusal([&] { model.setCrop(RecordingCrop{640, 0, 700, 720}); }),
              "The crop 700x720 at 640,0 reaches outside the 1280x720 recording.");
    model.undo();
    EXPECT_FALSE(model.project().crop);
    EXPECT_EQ(model.project().focusSegments, project.focusSegments);
    EXPECT_FALSE(model.canUndo());
    model.redo();
    EXPECT_TRUE(model.project().crop);
    model.setCrop(std::nullopt);
    EXPECT_EQ(model.project().focusSegments, project.focusSegments);
}
