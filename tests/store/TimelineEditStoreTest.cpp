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
