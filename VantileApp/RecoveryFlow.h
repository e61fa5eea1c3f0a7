#pragma once

#include "store/ProjectFileManager.h"

#include <filesystem>
#include <set>

namespace vantile {

class AppState;
class ProjectSession;

// Recordings cut off before their project was saved (the app killed, a power cut, a full
// disk): found under the projects root at start and offered one by one, to recover into the
// preview exactly as stopping would have made it, or to leave as they are.
class RecoveryFlow {
public:
    RecoveryFlow(AppState& state, ProjectSession& session, const ProjectFileManager& files);

    void findUnfinished();
    void recover(const std::filesystem::path& directory);
    // Leaves the recording on disk and stops offering it until the next start.
    void ignore(const std::filesystem::path& directory);

private:
    void withdraw(const std::filesystem::path& directory);

    AppState& state_;
    ProjectSession& session_;
    ProjectFileManager files_;
    std::set<std::filesystem::path> ignored_;
};

}  // namespace vantile
