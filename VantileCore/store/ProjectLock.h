#pragma once

#include <chrono>
#include <filesystem>

namespace vantile {

// An advisory lock on one project (flock on its directory, so taking it leaves no file behind),
// held by whoever reads and rewrites the project's files, so two programs never interleave
// their read-modify-writes. Writers hold it for one save only, so a second writer waits
// briefly and then gives up.
class ProjectLock {
public:
    static constexpr std::chrono::milliseconds defaultPatience{5000};

    // Throws ProjectFileError: busy when another writer keeps it past `patience`, fileSystem
    // when the directory cannot be opened.
    explicit ProjectLock(const std::filesystem::path& projectDirectory,
                         std::chrono::milliseconds patience = defaultPatience);
    ~ProjectLock();

    ProjectLock(const ProjectLock&) = delete;
    ProjectLock& operator=(const ProjectLock&) = delete;

private:
    int descriptor_ = -1;
};

}  // namespace vantile
