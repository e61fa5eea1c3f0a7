#include "store/ProjectCatalog.h"

#include "model/JsonCoding.h"
#include "store/ProjectLock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace vantile {

namespace fs = std::filesystem;

namespace {

bool hasProjectFile(const fs::path& directory)
{
    std::error_code error;
    return fs::exists(directory / ProjectFileManager::metadataFolderName / "project.json", error) ||
           fs::exists(directory / "project.json", error);
}

Timestamp lastChange(const fs::path& directory)
{
    std::error_code error;
    const auto changed = fs::last_write_time(directory, error);
    if (error) return {};
    return std::chrono::time_point_cast<std::chrono::system_clock::duration>(fs::file_time_type::clock::to_sys(changed));
}

[[noreturn]] void refuseName(const std::string& reason)
{
    throw ProjectFileError(ProjectFileError::Kind::fileSystem, reason);
}

}  // namespace

std::optional<ProjectSummary> summarizeProject(const ProjectFileManager& files, const fs::path& directory)
{
    ProjectSummary summary;
    summary.directory = directory;
    summary.name = directory.filename().string();
    if (ProjectFileManager::isUnfinishedRecording(directory)) {
        summary.unfinished = true;
        summary.recordedAt = lastChange(directory);
        std::error_code error;
        if (fs::exists(directory / "raw.mov", error)) summary.rawVideoURL = directory / "raw.mov";
        return summary;
    }
    if (!hasProjectFile(directory)) return std::nullopt;
    try {
        const RecordingProject project = files.loadProjectRecord(directory);
        summary.recordedAt = project.createdAt;
        summary.duration = project.duration;
        summary.capture = project.capture;
        const fs::path raw = project.rawVideoPath.empty() ? fs::path(project.video.path) : fs::path(project.rawVideoPath);
        if (!raw.empty()) summary.rawVideoURL = raw.is_absolute() ? raw : directory / raw;
        summary.exported = project.exportVideoPath.has_value();
    } catch (const std::exception& error) {
        summary.recordedAt = lastChange(directory);
        summary.problem = error.what();
    }
    return summary;
}

std::vector<ProjectSummary> listProjects(const ProjectFileManager& files)
{
    std::vector<ProjectSummary> projects;
    std::error_code error;
    for (fs::directory_iterator entry(files.rootDirectory(), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code typeError;
        if (!entry->is_directory(typeError) || entry->path().filename().string().starts_with(".")) continue;
        if (auto summary = summarizeProject(files, entry->path())) projects.push_back(std::move(*summary));
    }
    // Newest first; the name settles recordings made in the same second.
    std::sort(projects.begin(), projects.end(), [](const ProjectSummary& a, const ProjectSummary& b) {
        if (a.recordedAt != b.recordedAt) return a.recordedAt > b.recordedAt;
        return a.name > b.name;
    });
    return projects;
}

fs::path renameProject(const fs::path& directory, const std::string& newName)
{
    const auto first = newName.find_first_not_of(" \t");
    if (first == std::string::npos) refuseName("A project needs a name.");
    if (first != 0 || newName.find_last_not_of(" \t") != newName.size() - 1)
        refuseName("A project name cannot begin or end with a space.");
    if (newName.starts_with(".")) refuseName("A project name cannot begin with a dot: the folder would be hidden.");
    if (newName.find('/') != std::string::npos || newName.find('\0') != std::string::npos)
        refuseName("A project name cannot contain a slash.");
    if (!isValidUtf8(newName)) refuseName("A project name must be valid text (UTF-8).");
    // The longest file name most Linux file systems take.
    if (newName.size() > 255) refuseName("A project name can be at most 255 bytes long.");
    const fs::path target = directory.parent_path() / newName;
    if (target == directory) return directory;

    // A writer in the middle of a save finishes first; renaming a directory keeps its lock.
    const ProjectLock lock(directory);
    // Never onto an existing name: plain rename(2) would silently take an empty directory's place.
    if (::renameat2(AT_FDCWD, directory.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
        const int failure = errno;
        if (failure == EEXIST || failure == ENOTEMPTY)
            refuseName("There is already a project or file named “" + newName + "”.");
        throw ProjectFileError(ProjectFileError::Kind::fileSystem, "Cannot rename " + directory.string() + ": " +
                                                                       std::generic_category().message(failure));
    }
    return target;
}

}  // namespace vantile
