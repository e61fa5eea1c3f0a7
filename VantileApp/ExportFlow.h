#pragma once

#include "AppServices.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantile {

class AppState;
class ProjectSession;

// Exports the open project off the main thread with progress and cancel, and records the
// finished movie in the project through its session. Also the project's list of exports:
// reveal one, or move one to the trash.
class ExportFlow {
public:
    ExportFlow(AppState& state, ProjectSession& session, std::unique_ptr<ExportService> exporter,
               std::function<Timestamp()> wallClock);

    enum class Format { movie, gif };

    // Without a destination: export.mp4 (export.gif) in the project directory. The caller has
    // asked before naming a destination that exists.
    void start(Format format, const std::optional<std::filesystem::path>& destination = std::nullopt);
    void cancel();
    // Shows the latest export in the file manager.
    void reveal();
    // Shows the export recorded as `recordedPath`.
    void reveal(const std::string& recordedPath);
    // Moves the export recorded as `recordedPath` to the trash and forgets it; a file already
    // gone is only forgotten.
    void moveToTrash(const std::string& recordedPath);

private:
    void finish(const std::optional<std::string>& failure, const std::filesystem::path& outputURL);
    bool recorded(const std::string& recordedPath) const;

    AppState& state_;
    ProjectSession& session_;
    std::unique_ptr<ExportService> exporter_;
    std::function<Timestamp()> wallClock_;
    std::shared_ptr<ExportMonitor> monitor_;
};

}  // namespace vantile
