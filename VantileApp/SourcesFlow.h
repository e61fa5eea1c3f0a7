#pragma once

#include "AppServices.h"

#include <memory>
#include <string>

namespace vantile {

class AppState;

// The source picker's lists: displays and windows loaded off the main thread, microphones
// sorted by name, the cameras, and the chosen source and camera.
class SourcesFlow {
public:
    SourcesFlow(AppState& state, std::unique_ptr<SourceService> provider, std::shared_ptr<CameraService> cameras);

    void loadSources();
    void loadAudioInputs();
    // An id that is not listed changes nothing.
    void selectSource(const std::string& id);
    // An empty or unlisted id chooses no camera.
    void selectCamera(const std::string& id);

private:
    // The camera portal may ask the user first: the screens do not wait for that answer.
    void loadCameras();

    AppState& state_;
    std::unique_ptr<SourceService> provider_;
    std::shared_ptr<CameraService> cameras_;
};

}  // namespace vantile
