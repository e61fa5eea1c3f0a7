#include "store/ProjectFileManager.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using vantile::testing::snapshotFiles;
using vantile::testing::TemporaryDirectory;
namespace fs = std::filesystem;

TEST(TimelineEditStore, OlderProjectsWithoutEditsRoundTripByteForByte)
{
    // The examples are hand-written; their first save writes them as the store always has, and from
    // then on a load and save must not add a byte (no empty trim, cuts or "edited" keys).
    for (const char* name : {"walkthrough", "minimal"}) {
        TemporaryDirectory root;
        fs::copy(fs::path(VANTILE_SOURCE_DIR) / "examples" / name, root / name, fs::copy_options::recursive);
        const ProjectFileManager files(root.path());
        const RecordingProject project = files.loadProject(root / name);
        EXPECT_FALSE(project.trim);
        EXPECT_TRUE(project.cuts.empty());
        files.saveProject(project, root / name);
        const auto saved = snapshotFiles(root / name);
        for (const auto& [file, text] : saved) {
            for (const char* key : {"\"trim\"", "\"cuts\"", "\"edited\""}) {
                EXPECT_EQ(text.find(key), std::string::npos) << name << "/" << file << " gained " << key;
            }
        }
        files.saveProject(files.loadProject(root / name), root / name);
        EXPECT_EQ(snapshotFiles(root / name), saved) << name;
    }
}

TEST(TimelineEditStore, TrimCutsAndEditedSegmentsSurviveASaveAndOnlyEditedOnesCarryTheFlag)
{
    TemporaryDirectory root;
    const ProjectFileManager files(root.path());
    RecordingProject project = files.loadProject(fs::path(VANTILE_SOURCE_DIR) / "examples" / "walkthrough");
    project.trim = TimeRange{0.5, 5.75};
    project.cuts = {{1, 1.5}, {3.25, 4}};
    project.focusSegments = {{0, 2, FocusSegment::SegmentType::overview, 480, 300, 1},
                             {2, 3, FocusSegment::SegmentType::clickFocus, 100, 50, 2.5, true}};
    files.saveProject(project, root / "edited");
    EXPECT_EQ(files.loadProject(root / "edited"), project);

    const std::string segments = vantile::testing::readText(root / "edited" / ".vantile" / "focus_segments.json");
    EXPECT_EQ(segments.find("edited"), segments.rfind("edited")) << segments;
}
