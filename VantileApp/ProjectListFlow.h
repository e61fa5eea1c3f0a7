#pragma once

#include "store/ProjectCatalog.h"

#include <QString>

#include <filesystem>
#include <string>

namespace vantile {

class AppState;
class ProjectSession;
class RecoveryFlow;

// The home screen's project list: every recording under the projects root, opened from the
// list, a folder dialog or a drop; renamed in place, or moved to the desktop's trash (never
// deleted outright).
class ProjectListFlow {
public:
    ProjectListFlow(AppState& state, ProjectSession& session, RecoveryFlow& recovery, const ProjectFileManager& files);

    // Reads the list again, off the main thread.
    void refresh();
    // A project directory, a file inside one (its movie, its project.json) or a file URL of
    // either; an unfinished recording is recovered.
    void open(const QString& location);
    void rename(const std::filesystem::path& directory, const std::string& newName);
    void moveToTrash(const std::filesystem::path& directory);

    // Which directory a dropped or chosen location names.
    static std::filesystem::path projectDirectoryOf(const QString& location);

private:
    // The open project lets go of `directory` before it moves; false (with the reason shown)
    // while an export or a recording still needs it.
    bool release(const std::filesystem::path& directory);

    AppState& state_;
    ProjectSession& session_;
    RecoveryFlow& recovery_;
    ProjectFileManager files_;
    // Results of an older refresh that arrive after a newer one are dropped.
    int refreshGeneration_ = 0;
};

}  // namespace vantile
