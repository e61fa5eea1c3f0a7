#include "engine/ShortcutBadgeEdits.h"

#include <algorithm>
#include <string>

namespace vantile::ShortcutBadgeEdits {

std::size_t shortcutCount(const RecordingProject& project)
{
    return static_cast<std::size_t>(std::ranges::count(project.events, InputEvent::EventType::keyboardShortcut,
                                                       &InputEvent::type));
}

RecordingProject withShortcutHidden(const RecordingProject& project, std::size_t index, bool hidden)
{
    const std::size_t count = shortcutCount(project);
    if (index >= count) {
        throw TimelineEditError("There is no shortcut " + std::to_string(index) + "; the recording has " +
                                std::to_string(count) + " (numbered from 0).");
    }
    RecordingProject edited = project;
    auto& list = edited.hiddenShortcuts;
    const auto number = static_cast<std::int64_t>(index);
    const auto place = std::ranges::lower_bound(list, number);
    const bool listed = place != list.end() && *place == number;
    if (hidden && !listed) list.insert(place, number);
    if (!hidden && listed) list.erase(place);
    return edited;
}

}  // namespace vantile::ShortcutBadgeEdits
