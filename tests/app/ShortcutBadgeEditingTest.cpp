#include "ScreenHarness.h"

#include "sample/SampleProjectWriter.h"
#include "store/ProjectFileManager.h"


#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

// Under 快捷键徽标, each recorded shortcut is listed; clicking the second hides just its badge
// (saved, one undo step) and clicking it again shows it.
TEST(ShortcutBadgeEditing, ClickingAListedShortcutHidesOnlyItsBadgeAndUndoShowsItAgain)
{
    ScreenHarness screen;
    const auto directory = screen.root / "projects" / "project-shortcuts";
    RecordingProject project = SampleProjectWriter::write(directory, {4, 640, 360});
    for (const auto& [time, keys] : {std::pair{0.5, "Ctrl+S"}, std::pair{1.5, "Alt+Tab"}}) {
        InputEvent event{time, InputEvent::EventType::keyboardShortcut, 0, 0};
        event.keys = keys;
        project.events.push_back(event);
    }
    std::ranges::stable_sort(project.events, {}, &InputEvent::time);
    const ProjectFileManager store(screen.root / "projects");
    store.saveProject(project, directory);
    screen.openProject(directory);

    QQuickItem* second = nullptr;
    // A repeater's buttons are the list's children on screen, not in the window's object tree.
    const auto listed = [&](const QString& name) -> QQuickItem* {
        QQuickItem* list = screen.item("shortcutBadgeList");
        if (!list) return nullptr;
        for (QQuickItem* child : list->childItems()) {
            if (child->objectName() == name) return child;
        }
        return nullptr;
    };
    ASSERT_TRUE(waitFor([&] { return (second = listed("shortcutBadge1")) && second->isVisible(); }));
    EXPECT_EQ(second->property("text").toString(), "0:01 Alt+Tab");
    // The panel scrolls; the button is clicked as a user's click would emit it.
    QMetaObject::invokeMethod(second, "clicked");
    ASSERT_TRUE(waitFor([&] { return screen.state->currentProject()->hiddenShortcuts == std::vector<std::int64_t>{1}; }));
    EXPECT_TRUE(waitFor([&] { return store.loadProject(directory).hiddenShortcuts == std::vector<std::int64_t>{1}; }));
    screen.state->undoTimelineEdit();
    EXPECT_TRUE(screen.state->currentProject()->hiddenShortcuts.empty());
    screen.state->redoTimelineEdit();
    screen.state->setShortcutHidden(1, false);
    EXPECT_TRUE(screen.state->currentProject()->hiddenShortcuts.empty());
}

}  // namespace
}  // namespace vantile
