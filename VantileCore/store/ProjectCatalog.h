#pragma once

#include "model/RecordingProject.h"
#include "store/ProjectFileManager.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// One recording as the project list shows it, read from project.json alone so that a long
// list stays quick to read.
struct ProjectSummary {
    std::filesystem::path directory;
    std::string name;  // the directory's name: what the file manager shows too
    // When it was recorded; for a recording without a project, when its folder last changed.
    Timestamp recordedAt;
    double duration = 0;  // seconds of recording; 0 when unknown
    std::optional<CaptureInfo> capture;
    std::optional<std::filesystem::path> rawVideoURL;
    bool exported = false;
    bool unfinished = false;  // cut off before its project was saved: offered to recover
    // Why project.json could not be read; such a project is still listed, so it can be trashed.
    std::optional<std::string> problem;

    bool operator==(const ProjectSummary&) const = default;
};

// The projects directly under the files' root (directories with a saved project or an
// unfinished recording), newest first. Hidden directories and loose files are not projects.
std::vector<ProjectSummary> listProjects(const ProjectFileManager& files);
// Null for a directory that is neither a project nor an unfinished recording.
std::optional<ProjectSummary> summarizeProject(const ProjectFileManager& files, const std::filesystem::path& directory);

// Renames a project's directory within its folder and returns the new path. Throws
// ProjectFileError: fileSystem for a name that is empty, hidden, has a slash or is taken,
// busy while another program writes the project.
std::filesystem::path renameProject(const std::filesystem::path& directory, const std::string& newName);

}  // namespace vantile
