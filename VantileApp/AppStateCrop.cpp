// The crop as the preview's crop mode calls it: each call is one undoable edit of the current
// project's timeline, which plans the automatic zooms again for the picture that is left.
#include "AppState.h"

#include "ProjectSession.h"
#include "engine/CropEdits.h"

namespace vantile {

void AppState::setCrop(double x, double y, double width, double height)
{
    session_->editTimeline(
        [&](TimelineModel& model) { model.setCrop(CropEdits::fitted(model.project(), x, y, width, height)); });
}

void AppState::clearCrop()
{
    session_->editTimeline([](TimelineModel& model) { model.setCrop(std::nullopt); });
}

}  // namespace vantile
