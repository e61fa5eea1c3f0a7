#pragma once

#include "AppServices.h"

#include <memory>

namespace vantile {

class AppState;
class ProjectSession;

// Exports the open project off the main thread with progress and cancel, and records the
// finished movie in the project through its session.
class ExportFlow {
public:
    ExportFlow(AppState& state, ProjectSession& session, std::unique_ptr<ExportService> exporter);

    void start();
    void cancel();
    // Shows the recorded export in the file manager.
    void reveal();

private:
    void finish(const std::optional<std::string>& failure, const std::filesystem::path& outputURL);

    AppState& state_;
    ProjectSession& session_;
    std::unique_ptr<ExportService> exporter_;
    std::shared_ptr<ExportMonitor> monitor_;
};

}  // namespace vantile
