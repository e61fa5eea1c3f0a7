#include "RecoveryFlow.h"

#include "AppState.h"
#include "MainThreadResume.h"
#include "ProjectSession.h"
#include "capture/RecordingRecovery.h"

#include <algorithm>

namespace vantile {

namespace fs = std::filesystem;

RecoveryFlow::RecoveryFlow(AppState& state, ProjectSession& session, const ProjectFileManager& files)
    : state_(state), session_(session), files_(files)
{
}

void RecoveryFlow::findUnfinished()
{
    std::vector<fs::path> found = files_.unfinishedRecordings();
    std::erase_if(found, [&](const fs::path& directory) { return ignored_.count(directory) > 0; });
    state_.setUnfinishedRecordings(std::move(found));
}

void RecoveryFlow::withdraw(const fs::path& directory)
{
    std::vector<fs::path> remaining = state_.unfinishedRecordings();
    std::erase(remaining, directory);
    state_.setUnfinishedRecordings(std::move(remaining));
}

void RecoveryFlow::ignore(const fs::path& directory)
{
    ignored_.insert(directory);
    withdraw(directory);
}

void RecoveryFlow::recover(const fs::path& directory)
{
    const auto& offered = state_.unfinishedRecordings();
    if (state_.isBusy() || state_.route() == Route::recording ||
        std::find(offered.begin(), offered.end(), directory) == offered.end())
        return;
    state_.setBusy(true);
    state_.setStatusMessage("Recovering recording");
    struct Outcome {
        std::optional<RecordingProject> project;
        std::string failure;
    };
    runOffMainThread(
        state_.workers(), &state_,
        [files = files_, directory] {
            try {
                return Outcome{recoverRecording(directory, files).project, {}};
            } catch (...) {
                return Outcome{std::nullopt, describeError(std::current_exception())};
            }
        },
        [this, directory](Outcome outcome) {
            withdraw(directory);
            state_.setBusy(false);
            if (!outcome.project) {
                state_.setStatusMessage("Ready");
                state_.setErrorMessage(outcome.failure);
                return;
            }
            session_.open(std::move(*outcome.project), directory);
            state_.setStatusMessage("Ready");
            state_.setRoute(Route::preview);
        });
}

}  // namespace vantile
