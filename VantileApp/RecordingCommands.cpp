#include "RecordingCommands.h"

#include "AppState.h"

#include <algorithm>
#include <memory>

namespace vantile {

namespace {

bool isRecordable(const CaptureSource& source) { return source.id.find("fallback") == std::string::npos; }

}  // namespace

RecordingCommands::RecordingCommands(AppState& state) : state_(state) {}

void RecordingCommands::whenIdle(std::function<void()> then)
{
    if (!state_.isBusy()) {
        then();
        return;
    }
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(&state_, &AppState::isBusyChanged, this, [this, connection, then = std::move(then)] {
        if (state_.isBusy()) return;
        disconnect(*connection);
        // The flows publish their outcome (route, error) right after clearing busy.
        QMetaObject::invokeMethod(this, then, Qt::QueuedConnection);
    });
}

RecordingCommands::Answer RecordingCommands::outcome(bool succeeded) const
{
    Answer answer;
    if (!succeeded) answer.failure = state_.errorMessage().value_or(std::string(busy));
    else if (state_.projectDirectory()) answer.projectDirectory = state_.projectDirectory()->string();
    return answer;
}

void RecordingCommands::start(const std::optional<std::string>& sourceId, Reply reply)
{
    if (state_.route() == Route::recording) {
        reply(outcome(true));
        return;
    }
    if (state_.isBusy()) {
        reply({busy, {}});
        return;
    }
    const auto& sources = state_.sources();
    const bool listed = sourceId ? std::ranges::any_of(sources, [&](const CaptureSource& s) { return s.id == *sourceId; })
                                 : state_.selectedSource().has_value() && isRecordable(*state_.selectedSource());
    // The picker's choice counts only when the user made it: listing preselects the first source.
    const bool chosen = state_.selectedSource().has_value() && isRecordable(*state_.selectedSource());
    if (listed) {
        startWithSources(sourceId, chosen, reply);
        return;
    }
    // Nothing chosen yet (or an id the list does not hold): list the sources first.
    state_.loadSources();
    whenIdle([this, sourceId, chosen, reply] { startWithSources(sourceId, chosen, reply); });
}

void RecordingCommands::startWhenIdle(const std::optional<std::string>& sourceId, Reply reply)
{
    whenIdle([this, sourceId, reply = std::move(reply)] { start(sourceId, reply); });
}

void RecordingCommands::startWithSources(const std::optional<std::string>& sourceId, bool chosen, const Reply& reply)
{
    const auto& sources = state_.sources();
    if (sourceId) {
        const auto found = std::ranges::find_if(sources, [&](const CaptureSource& s) { return s.id == *sourceId; });
        if (found == sources.end()) {
            reply({"No capture source has the ID " + *sourceId + "; `vantile-cli sources` lists them.", {}});
            return;
        }
        state_.setSelectedSource(*found);
    } else if (!chosen) {
        const auto display = std::ranges::find_if(sources, [](const CaptureSource& s) {
            return s.kind == CaptureSource::SourceKind::display && isRecordable(s);
        });
        if (display != sources.end()) state_.setSelectedSource(*display);
    }
    state_.startRecording();
    whenIdle([this, reply] {
        // A countdown ended by its cancel (or a stop) says so, not that Vantile was busy.
        if (state_.route() != Route::recording && !state_.errorMessage()) reply({cancelledBeforeStart, {}});
        else reply(outcome(state_.route() == Route::recording));
    });
}

void RecordingCommands::stop(Reply reply)
{
    if (state_.isCountingDown()) {
        // Nothing is captured yet: stopping means not starting, and leaves no project.
        state_.cancelCountdown();
        reply({});
        return;
    }
    if (state_.route() != Route::recording) {
        reply({notRecording, {}});
        return;
    }
    state_.stopRecording(StopTrigger::keyboardOrCommand);
    whenIdle([this, reply] { reply(outcome(state_.route() == Route::preview)); });
}

void RecordingCommands::toggle(Reply reply)
{
    if (state_.route() == Route::recording || state_.isCountingDown()) stop(std::move(reply));
    else start(std::nullopt, std::move(reply));
}

}  // namespace vantile
