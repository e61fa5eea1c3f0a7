// Text callouts as the timeline's 文字 track, the settings panel and the preview edit them:
// each call is one undoable edit of the current project.
#include "AppState.h"

#include "ProjectSession.h"
#include "engine/TextCalloutEdits.h"
#include "render/layers/TextCalloutLayer.h"

#include <limits>

namespace vantile {

namespace {

std::size_t calloutIndex(int index)
{
    // A negative index from QML is no callout; the model refuses it with its own message.
    return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

// Changes one callout through `change`, starting from what the project holds.
template <typename Change>
void changeCallout(ProjectSession& session, int index, const Change& change)
{
    session.editTimeline([&](TimelineModel& model) {
        const auto& callouts = model.project().textCallouts;
        const std::size_t at = calloutIndex(index);
        TextCallout changed = at < callouts.size() ? callouts[at] : TextCallout{};
        change(changed);
        model.changeTextCallout(at, changed);
    });
}

}  // namespace

int AppState::addTextCallout(double playhead)
{
    if (!currentProject_) return -1;
    int added = -1;
    const double duration = currentProject_->duration;
    session_->editTimeline([&](TimelineModel& model) {
        added = static_cast<int>(model.addTextCallout(TextCalloutEdits::calloutAt(playhead, duration, "文字")));
    });
    return added;
}

void AppState::setTextCalloutText(int index, const QString& text)
{
    changeCallout(*session_, index, [&](TextCallout& callout) { callout.text = text.toStdString(); });
}

void AppState::setTextCalloutStyle(int index, const QString& style)
{
    try {
        const TextCalloutStyle parsed = textCalloutStyleTexts.parse(style.toStdString());
        changeCallout(*session_, index, [&](TextCallout& callout) { callout.style = parsed; });
    } catch (const DecodingError&) {
        setErrorMessage("Unknown text callout style \"" + style.toStdString() + "\".");
    }
}

void AppState::setTextCalloutSpan(int index, double start, double end)
{
    changeCallout(*session_, index, [&](TextCallout& callout) {
        callout.start = start;
        callout.end = end;
    });
}

void AppState::moveTextCallout(int index, double x, double y)
{
    changeCallout(*session_, index, [&](TextCallout& callout) { callout.position = CodablePoint{x, y}; });
}

void AppState::removeTextCallout(int index)
{
    session_->editTimeline([&](TimelineModel& model) { model.removeTextCallout(calloutIndex(index)); });
}

QRectF AppState::textCalloutRect(int index, double canvasWidth, double canvasHeight) const
{
    if (!currentProject_ || index < 0 || static_cast<std::size_t>(index) >= currentProject_->textCallouts.size() ||
        !(canvasWidth > 0 && canvasHeight > 0)) {
        return {};
    }
    TextCalloutLayer layer({currentProject_->textCallouts[static_cast<std::size_t>(index)]},
                           OutputTimeline(*currentProject_));
    return layer.placedRect(0, QRectF(0, 0, canvasWidth, canvasHeight));
}

}  // namespace vantile
