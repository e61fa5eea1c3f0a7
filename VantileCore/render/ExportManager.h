#pragma once

#include "render/ExportMonitor.h"
#include "render/RenderJob.h"

#include <filesystem>
#include <functional>

namespace vantile {

// The front of rendering for the application: one call renders a job into its movie.
class ExportManager {
public:
    // Renders the job, merges the raw movie's audio and returns job.outputURL in the format its
    // name picks (exportContainer; .gif gives an animated GIF without audio). Hidden files that
    // killed exports left in the output's directory are removed first. Throws RenderError
    // (cancelled when the monitor asks for it, even during the audio merge); nothing is left
    // at the destination or beside it when it fails, and a previous export there stays as it
    // was. `beforeReplacing` runs with the complete movie (still under its staging name) before
    // it takes the destination's place (to save the project); when it throws, the export fails.
    using BeforeReplacing = std::function<void(const std::filesystem::path& completeMovie)>;
    std::filesystem::path exportMovie(const RenderJob& job, ExportMonitor* monitor = nullptr,
                                      const BeforeReplacing& beforeReplacing = nullptr) const;
};

}  // namespace vantile
