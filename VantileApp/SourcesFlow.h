#pragma once

#include "AppServices.h"

#include <memory>
#include <string>

namespace vantile {

class AppState;

// The source picker's lists: displays and windows loaded off the main thread, microphones
// sorted by name, and the chosen source.
class SourcesFlow {
public:
    SourcesFlow(AppState& state, std::unique_ptr<SourceService> provider);

    void loadSources();
    void loadAudioInputs();
    // An id that is not listed changes nothing.
    void selectSource(const std::string& id);

private:
    AppState& state_;
    std::unique_ptr<SourceService> provider_;
};

}  // namespace vantile
