// Speed regions and the idle finder as the timeline calls them: each change is one undoable
// edit; the screen scan for idle stretches runs off the main thread.
#include "AppState.h"

#include "MainThreadResume.h"
#include "ProjectSession.h"
#include "engine/IdleFinder.h"
#include "render/ScreenChangeScanner.h"

#include <algorithm>
#include <limits>

namespace vantile {

namespace {

std::size_t regionIndex(int index)
{
    // A negative index from QML is no region; the model refuses it with its own message.
    return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

}  // namespace

void AppState::addSpeedRegion(double start, double end, double speed)
{
    session_->editTimeline([&](TimelineModel& model) {
        model.addSpeedRegion({std::min(start, end), std::max(start, end), speed});
    });
}

void AppState::changeSpeedRegion(int index, double start, double end, double speed)
{
    session_->editTimeline([&](TimelineModel& model) {
        model.changeSpeedRegion(regionIndex(index), {std::min(start, end), std::max(start, end), speed});
    });
}

void AppState::removeSpeedRegion(int index)
{
    session_->editTimeline([&](TimelineModel& model) { model.removeSpeedRegion(regionIndex(index)); });
}

void AppState::findIdleStretches(double minimumSeconds)
{
    const auto raw = session_->rawVideoURL();
    if (!raw || !currentProject_ || findingIdle_) return;
    findingIdle_ = true;
    idleProposals_.clear();
    emit idleProposalsChanged();
    struct Scan {
        std::vector<double> changes;
        std::exception_ptr error;
    };
    const std::string projectId = currentProject_->id;
    runOffMainThread(
        workers(), this,
        [movie = *raw, crop = currentProject_->crop]() {
            Scan scan;
            try {
                scan.changes = ScreenChangeScanner::changeTimes(movie, crop);
            } catch (...) {
                scan.error = std::current_exception();
            }
            return scan;
        },
        [this, projectId, minimumSeconds](Scan scan) {
            findingIdle_ = false;
            if (scan.error) {
                setErrorMessage("无法查找空闲片段：" + describeError(scan.error));
            } else if (currentProject_ && currentProject_->id == projectId) {
                idleProposals_ = IdleFinder::idleStretches(currentProject_->events, scan.changes,
                                                           currentProject_->duration, minimumSeconds);
                if (idleProposals_.empty()) setStatusMessage("没有找到空闲片段。");
            }
            emit idleProposalsChanged();
        });
}

void AppState::applyIdleProposals(const QVariantList& indexes, bool asCuts)
{
    std::vector<TimeRange> chosen;
    std::vector<bool> taken(idleProposals_.size(), false);
    for (const QVariant& value : indexes) {
        const int index = value.toInt();
        if (index < 0 || static_cast<std::size_t>(index) >= idleProposals_.size()) continue;
        if (taken[static_cast<std::size_t>(index)]) continue;
        taken[static_cast<std::size_t>(index)] = true;
        chosen.push_back(idleProposals_[static_cast<std::size_t>(index)]);
    }
    if (chosen.empty()) return;
    bool applied = false;
    session_->editTimeline([&](TimelineModel& model) {
        model.applyAsOneStep(
            IdleFinder::withIdleRemoved(model.project(), chosen, asCuts ? IdleRemoval::cut : IdleRemoval::speed));
        applied = true;
    });
    if (!applied) return;
    std::vector<TimeRange> left;
    for (std::size_t index = 0; index < idleProposals_.size(); ++index) {
        if (!taken[index]) left.push_back(idleProposals_[index]);
    }
    idleProposals_ = std::move(left);
    emit idleProposalsChanged();
}

void AppState::dismissIdleProposals()
{
    idleProposals_.clear();
    emit idleProposalsChanged();
}

QVariantList AppState::idleProposalsValue() const
{
    QVariantList list;
    for (const TimeRange& stretch : idleProposals_) list.append(QVariantMap{{"start", stretch.start}, {"end", stretch.end}});
    return list;
}

}  // namespace vantile
