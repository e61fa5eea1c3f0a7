#include "SourcesFlow.h"

#include "AppState.h"
#include "MainThreadResume.h"

#include <QCollator>

#include <algorithm>

namespace vantile {

SourcesFlow::SourcesFlow(AppState& state, std::unique_ptr<SourceService> provider)
    : state_(state), provider_(std::move(provider))
{
}

void SourcesFlow::loadSources()
{
    // A load while another flow runs would clear its busy flag under it.
    if (state_.isBusy()) return;
    state_.setBusy(true);
    state_.setStatusMessage("Loading capture sources");
    loadAudioInputs();
    using Loaded = std::pair<std::vector<CaptureSource>, std::optional<std::string>>;
    runOffMainThread(
        state_.workers(), &state_,
        [provider = provider_.get()]() -> Loaded {
            try {
                return {provider->loadSources(), std::nullopt};
            } catch (...) {
                return {{}, describeError(std::current_exception())};
            }
        },
        [this](Loaded loaded) {
            if (loaded.second) {
                state_.setErrorMessage(loaded.second);
            } else {
                state_.setSources(std::move(loaded.first));
                if (!state_.selectedSource() && !state_.sources().empty())
                    state_.setSelectedSource(state_.sources().front());
            }
            state_.setBusy(false);
        });
}

void SourcesFlow::loadAudioInputs()
{
    std::vector<AudioInputDevice> devices;
    try {
        devices = provider_->listMicrophones();
    } catch (const std::exception&) {
        // No sound server: simply no microphones to offer.
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(devices.begin(), devices.end(), [&](const AudioInputDevice& a, const AudioInputDevice& b) {
        return collator.compare(QString::fromStdString(a.name), QString::fromStdString(b.name)) < 0;
    });
    const auto& selected = state_.selectedMicrophoneDeviceID();
    const bool listed = selected && std::any_of(devices.begin(), devices.end(),
                                                [&](const AudioInputDevice& device) { return device.id == *selected; });
    state_.setAvailableMicrophones(std::move(devices));
    if (selected && !listed) state_.setSelectedMicrophoneDeviceID(std::nullopt);
}

void SourcesFlow::selectSource(const std::string& id)
{
    const auto& sources = state_.sources();
    const auto found = std::find_if(sources.begin(), sources.end(), [&](const CaptureSource& s) { return s.id == id; });
    if (found != sources.end()) state_.setSelectedSource(*found);
}

}  // namespace vantile
