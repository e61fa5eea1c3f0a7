#include "SourcesFlow.h"

#include "AppState.h"
#include "MainThreadResume.h"

#include <QCollator>

#include <algorithm>

namespace vantile {

SourcesFlow::SourcesFlow(AppState& state, std::unique_ptr<SourceService> provider,
                         std::shared_ptr<CameraService> cameras)
    : state_(state), provider_(std::move(provider)), cameras_(std::move(cameras))
{
}

void SourcesFlow::loadSources()
{
    // A load while another flow runs would clear its busy flag under it.
    if (state_.isBusy()) return;
    state_.setBusy(true);
    state_.setStatusMessage("Loading capture sources");
    loadAudioInputs();
    struct Loaded {
        std::vector<CaptureSource> sources;
        std::optional<std::string> failure;
    };
    runOffMainThread(
        state_.workers(), &state_,
        [provider = provider_.get()]() -> Loaded {
            Loaded loaded;
            try {
                loaded.sources = provider->loadSources();
            } catch (...) {
                loaded.failure = describeError(std::current_exception());
            }
            return loaded;
        },
        [this](Loaded loaded) {
            if (loaded.failure) {
                state_.setErrorMessage(loaded.failure);
            } else {
                state_.setSources(std::move(loaded.sources));
                if (!state_.selectedSource() && !state_.sources().empty())
                    state_.setSelectedSource(state_.sources().front());
            }
            state_.setBusy(false);
        });
    loadCameras();
}

void SourcesFlow::loadCameras()
{
    if (!cameras_ || state_.isLoadingCameras()) return;
    state_.setLoadingCameras(true);
    runOffMainThread(
        state_.workers(), &state_,
        // Listing cameras never fails: a desktop without any simply offers none.
        [cameras = cameras_] { return cameras->listCameras(); },
        [this](std::vector<CameraDevice> cameras) {
            state_.setLoadingCameras(false);
            state_.setAvailableCameras(std::move(cameras));
            // A chosen camera that went away is forgotten, as a microphone is.
            if (const auto& chosen = state_.selectedCameraId()) selectCamera(*chosen);
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

void SourcesFlow::selectCamera(const std::string& id)
{
    const auto& cameras = state_.availableCameras();
    const bool listed =
        std::any_of(cameras.begin(), cameras.end(), [&](const CameraDevice& camera) { return camera.id == id; });
    state_.setSelectedCameraId(listed ? std::optional<std::string>(id) : std::nullopt);
}

}  // namespace vantile
