#include "capture/KeyShortcut.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

TEST(KeyShortcutTest, ReadsWhatUsersWriteAndRefusesWhatNoKeyboardCanPress)
{
    const auto standard = parseKeyShortcut("Ctrl+Shift+F9");
    ASSERT_TRUE(standard);
    EXPECT_EQ(*standard, (KeyShortcut{0xffc6, true, true, false, false}));
    // Spelling, case and spaces do not matter; the description is always the canonical one.
    EXPECT_EQ(parseKeyShortcut(" shift + control+f9 "), standard);
    EXPECT_EQ(describeKeyShortcut(*standard), "Ctrl+Shift+F9");
    EXPECT_EQ(parseKeyShortcut("Super+Alt+r"), (KeyShortcut{'r', false, false, true, true}));
    EXPECT_EQ(describeKeyShortcut(*parseKeyShortcut("meta+alt+R")), "Alt+Super+R");
    EXPECT_EQ(describeKeyShortcut(*parseKeyShortcut("ctrl+pause")), "Ctrl+Pause");
    EXPECT_EQ(parseKeyShortcut("F35")->keysym, 0xffe0u);
    EXPECT_EQ(parseKeyShortcut("Ctrl+7")->keysym, std::uint32_t('7'));

    // The portals' spelling: upper-case modifiers, XKB key names, lower-case letters.
    EXPECT_EQ(portalTrigger(*standard), "CTRL+SHIFT+F9");
    EXPECT_EQ(portalTrigger(*parseKeyShortcut("Super+Alt+R")), "ALT+LOGO+r");
    EXPECT_EQ(portalTrigger(*parseKeyShortcut("Ctrl+PageDown")), "CTRL+Page_Down");
    EXPECT_EQ(portalTrigger(*parseKeyShortcut("Shift+Space")), "SHIFT+space");

    for (const char* refused : {"", "Ctrl+Shift", "Ctrl++F9", "F0", "F36", "Ctrl+F9+Shift", "Hyper+F9", "F9F9", "Ctrl+"})
        EXPECT_EQ(parseKeyShortcut(refused), std::nullopt) << refused;
}

}  // namespace
}  // namespace vantile
