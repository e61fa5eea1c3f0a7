// The crop and the single shortcut badges as the preview calls them: each call is one undoable
// edit of the current project's timeline; a crop plans the automatic zooms again for what is left.
#include "AppState.h"

#include "ProjectSession.h"
#include "engine/CropEdits.h"

#include <limits>

namespace vantile {

void AppState::setCrop(double x, double y, double width, double height)
{
    session_->editTimeline(
        [&](TimelineModel& model) { model.setCrop(CropEdits::fitted(model.project(), x, y, width, height)); });
}

void AppState::setShortcutHidden(int index, bool hidden)
{
    // A negative index from QML is no shortcut; the model refuses it with its own message.
    const std::size_t number = index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
    session_->editTimeline([&](TimelineModel& model) { model.setShortcutHidden(number, hidden); });
}

void AppState::clearCrop()
{
    session_->editTimeline([](TimelineModel& model) { model.setCrop(std::nullopt); });
}

}  // namespace vantile
