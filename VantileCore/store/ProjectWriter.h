#pragma once

#include "store/ProjectFileManager.h"

#include <filesystem>

namespace vantile {

// One program's saves of one open project: each save writes only what this program changed
// since its previous save (or since it loaded the project), over the project as it is on disk
// at that moment, so an edit another program saved meanwhile survives.
class ProjectWriter {
public:
    ProjectWriter(ProjectFileManager files, std::filesystem::path directory, RecordingProject loaded);

    // Throws ProjectFileError (busy when another writer holds the project too long).
    void save(const RecordingProject& project);

    const std::filesystem::path& directory() const { return directory_; }

private:
    ProjectFileManager files_;
    std::filesystem::path directory_;
    RecordingProject lastSaved_;
};

}  // namespace vantile
