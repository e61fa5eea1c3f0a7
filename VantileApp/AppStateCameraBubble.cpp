// The camera bubble's edits as the settings panel and the preview make them: each one an undo
// step of its own, or one for a whole gesture.
#include "AppState.h"

#include "ProjectSession.h"

namespace vantile {

void AppState::changeCameraBubble(const QString& field, const QVariant& value)
{
    if (const auto look = QmlValues::cameraBubbleChange(CameraBubbleLook::of(renderSettings_), field, value)) {
        setCameraBubble(*look);
    }
}

void AppState::setCameraBubble(const CameraBubbleLook& look)
{
    if (cameraBubbleGestureStart_) {
        session_->showCameraBubble(look);
    } else {
        session_->editCameraBubble(look);
    }
}

void AppState::beginCameraBubbleGesture()
{
    if (!cameraBubbleGestureStart_) cameraBubbleGestureStart_ = CameraBubbleLook::of(renderSettings_);
}

void AppState::endCameraBubbleGesture()
{
    if (!cameraBubbleGestureStart_) return;
    const CameraBubbleLook start = *cameraBubbleGestureStart_;
    cameraBubbleGestureStart_.reset();
    session_->editCameraBubble(CameraBubbleLook::of(renderSettings_), start);
}

}  // namespace vantile
