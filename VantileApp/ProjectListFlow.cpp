#include "ProjectListFlow.h"

#include "AppState.h"
#include "DesktopTrash.h"
#include "MainThreadResume.h"
#include "ProjectSession.h"
#include "RecoveryFlow.h"

#include <QUrl>

#include <algorithm>

namespace vantile {

namespace fs = std::filesystem;


ProjectListFlow::ProjectListFlow(AppState& state, ProjectSession& session, RecoveryFlow& recovery,
                                 const ProjectFileManager& files)
    : state_(state), session_(session), recovery_(recovery), files_(files)
{
}

void ProjectListFlow::refresh()
{
    const int generation = ++refreshGeneration_;
    runOffMainThread(
        state_.workers(), &state_, [files = files_] { return listProjects(files); },
        [this, generation](std::vector<ProjectSummary> projects) {
            if (generation == refreshGeneration_) state_.setProjects(std::move(projects));
        });
}

fs::path ProjectListFlow::projectDirectoryOf(const QString& location)
{
    const QUrl url(location);
    fs::path path = (url.isLocalFile() ? url.toLocalFile() : location).toStdString();
    std::error_code error;
    if (fs::is_regular_file(path, error)) path = path.parent_path();
    if (path.filename() == ProjectFileManager::metadataFolderName) path = path.parent_path();
    path = path.lexically_normal();
    // "/projects/demo/" names the same folder as "/projects/demo".
    if (!path.has_filename()) path = path.parent_path();
    return path;
}

void ProjectListFlow::open(const QString& location)
{
    if (state_.isBusy() || state_.route() == Route::recording) return;
    const fs::path directory = projectDirectoryOf(location);
    if (ProjectFileManager::isUnfinishedRecording(directory)) {
        std::vector<fs::path> offered = state_.unfinishedRecordings();
        if (std::find(offered.begin(), offered.end(), directory) == offered.end()) {
            offered.push_back(directory);
            state_.setUnfinishedRecordings(std::move(offered));
        }
        recovery_.recover(directory);
        return;
    }
    if (!summarizeProject(files_, directory)) {
        state_.setErrorMessage("“" + directory.string() + "”不是 Vantile 项目：其中没有录制的项目文件。");
        return;
    }
    session_.openFromDisk(directory);
}

bool ProjectListFlow::release(const fs::path& directory)
{
    if (state_.route() == Route::recording) return false;
    if (state_.projectDirectory() != directory) return true;
    if (state_.isExporting()) {
        state_.setErrorMessage("这个项目正在导出，导出结束后再重命名或删除。");
        return false;
    }
    session_.close();
    return true;
}

void ProjectListFlow::rename(const fs::path& directory, const std::string& newName)
{
    if (!release(directory)) return;
    try {
        renameProject(directory, newName);
    } catch (const std::exception& error) {
        state_.setErrorMessage(std::string(error.what()));
    }
    refresh();
}

void ProjectListFlow::moveToTrash(const fs::path& directory)
{
    if (!release(directory)) return;
    if (!moveToDesktopTrash(directory)) {
        state_.setErrorMessage("无法把“" + directory.filename().string() + "”移到回收站，项目仍在原处。");
    }
    refresh();
}

}  // namespace vantile
