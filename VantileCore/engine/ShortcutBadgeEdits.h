#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <cstddef>

namespace vantile {

// Hiding single shortcut badges as pure functions; a refused edit throws TimelineEditError.
namespace ShortcutBadgeEdits {

// How many keyboard shortcuts the recording logged; they are numbered from 0 in this order.
std::size_t shortcutCount(const RecordingProject& project);

// Shortcut `index` hidden or shown again; refused when the recording has no such shortcut.
RecordingProject withShortcutHidden(const RecordingProject& project, std::size_t index, bool hidden);

}  // namespace ShortcutBadgeEdits

}  // namespace vantile
