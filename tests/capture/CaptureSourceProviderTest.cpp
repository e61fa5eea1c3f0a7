#include "capture/CaptureSourceFilter.h"
#include "capture/CaptureSourceProvider.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vantile {
namespace {

using CaptureSourceFilter::shouldIncludeWindow;

class FakeLister : public SourceLister {
public:
    ShareableContent shareableContent() override
    {
        if (fail) throw std::runtime_error("no display server");
        return content;
    }
    std::vector<ListedDisplay> screens() override { return content.displays; }

    ShareableContent content;
    bool fail = false;
};

TEST(CaptureSourceFilterTest, DropsFurnitureTinyUntitledAndOwnWindows)
{
    const CGRectCodable normal{0, 0, 800, 600};
    const std::vector<CGRectCodable> displays{{0, 0, 1512, 982}};
    EXPECT_TRUE(shouldIncludeWindow("Report.txt", "Editor", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Report.txt", "Editor", {0, 0, 239, 500}, displays));
    EXPECT_FALSE(shouldIncludeWindow("Report.txt", "Editor", {0, 0, 500, 139}, displays));
    EXPECT_TRUE(shouldIncludeWindow("Report.txt", "Editor", {0, 0, 240, 140}, displays));
    EXPECT_FALSE(shouldIncludeWindow("Item-0", "Editor", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Main", "Dock", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Wallpaper-Left", "Editor", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("   \n", "Editor", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow(std::nullopt, "Editor", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Report", std::nullopt, normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Settings", " Vantile ", normal, displays));
    EXPECT_FALSE(shouldIncludeWindow("Settings", "VantileApp", normal, displays));
    EXPECT_TRUE(shouldIncludeWindow("Settings", "vantile", normal, displays));  // case-sensitive
    EXPECT_TRUE(shouldIncludeWindow("Notes", "Notes", normal, displays));
}

TEST(CaptureSourceFilterTest, TheFileManagersDesktopSizedWindowIsDropped)
{
    const std::vector<CGRectCodable> displays{{0, 0, 1512, 982}};
    EXPECT_TRUE(shouldIncludeWindow("Finder", "Finder", {0, 0, 1512, 900}, displays));   // 82 shorter
    EXPECT_FALSE(shouldIncludeWindow("Finder", "Finder", {0, 0, 1512, 950}, displays));  // 32 shorter
    EXPECT_FALSE(shouldIncludeWindow("访达", "访达", {0, 0, 1514, 982}, displays));
    EXPECT_TRUE(shouldIncludeWindow("Finder", "Finder", {0, 0, 1515, 982}, displays));
    EXPECT_TRUE(shouldIncludeWindow("Downloads", "Finder", {0, 0, 1512, 982}, displays));
}

TEST(CaptureSourceProviderTest, ListsDisplaysThenKeptWindowsWithTheirIdentifiers)
{
    FakeLister lister;
    lister.content.displays = {{7, "HDMI-1", {0, 0, 1920, 1080}, 1}, {9, "", {1920, 0, 2560, 1440}, 2}};
    lister.content.windows = {
        {4194305, "Inbox — Mail", "Mail", {100, 100, 900, 700}},
        {4194306, "", "Mail", {100, 100, 900, 700}},
        {4194307, "Tiny", "Mail", {0, 0, 100, 100}},
        {4194308, "Terminal", "XTerm", {1800, 0, 1000, 800}},
    };
    const auto sources = CaptureSourceProvider(lister).loadSources();
    ASSERT_EQ(sources.size(), 4u);
    EXPECT_EQ(sources[0].id, "display-7");
    EXPECT_EQ(sources[0].displayId, "7");
    EXPECT_EQ(sources[0].title, "HDMI-1");
    EXPECT_EQ(sources[0].appName, "Display");
    EXPECT_EQ(sources[1].title, "Display 9");
    EXPECT_EQ(sources[1].scaleFactor, 2);
    EXPECT_EQ(sources[2].id, "window-4194305");
    EXPECT_EQ(sources[2].windowId, "4194305");
    EXPECT_FALSE(sources[2].displayId);
    EXPECT_EQ(sources[2].scaleFactor, 1);
    // Mostly on the second display: its scale.
    EXPECT_EQ(sources[3].id, "window-4194308");
    EXPECT_EQ(sources[3].scaleFactor, 2);
}

TEST(CaptureSourceProviderTest, FallsBackOnlyWhenThePlatformCannotBeAsked)
{
    FakeLister lister;
    lister.content.displays = {{7, "screen", {0, 0, 1280, 720}, 1}};
    lister.fail = true;
    const auto fallback = CaptureSourceProvider(lister).loadSources();
    ASSERT_EQ(fallback.size(), 1u);
    EXPECT_EQ(fallback[0].id, "display-fallback-0");
    EXPECT_FALSE(fallback[0].displayId);

    lister.fail = false;
    lister.content.displays.clear();
    EXPECT_TRUE(CaptureSourceProvider(lister).loadSources().empty());
}

TEST(CaptureSourceProviderTest, ScaleFactorPrefersTheLargestOverlapAndTheEarlierScreenOnTies)
{
    const std::vector<ListedDisplay> screens{{1, "a", {0, 0, 100, 100}, 1}, {2, "b", {100, 0, 100, 100}, 2}};
    EXPECT_EQ(CaptureSourceProvider::scaleFactor({50, 0, 100, 100}, screens), 1);   // equal halves
    EXPECT_EQ(CaptureSourceProvider::scaleFactor({60, 0, 100, 100}, screens), 2);
    EXPECT_EQ(CaptureSourceProvider::scaleFactor({900, 900, 10, 10}, screens), 1);  // none: first
    EXPECT_EQ(CaptureSourceProvider::scaleFactor({0, 0, 10, 10}, {}), 1);
}

}  // namespace
}  // namespace vantile
