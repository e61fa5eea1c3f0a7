#include "ExportFlow.h"

#include "AppState.h"
#include "DesktopTrash.h"
#include "MainThreadResume.h"
#include "ProjectSession.h"


#include <algorithm>

namespace vantile {

ExportFlow::ExportFlow(AppState& state, ProjectSession& session, std::unique_ptr<ExportService> exporter,
                       std::function<Timestamp()> wallClock)
    : state_(state), session_(session), exporter_(std::move(exporter)), wallClock_(std::move(wallClock))
{
}

void ExportFlow::start(Format format, const std::optional<std::filesystem::path>& destination)
{
    if (state_.isBusy()) return;
    if (!session_.hasProject()) {
        state_.setErrorMessage("No project to export.");
        return;
    }
    RenderJob job;
    try {
        job = session_.exportJob(destination);
    } catch (...) {
        state_.setErrorMessage(describeError(std::current_exception()));
        return;
    }
    if (!destination && format == Format::gif) job.outputURL.replace_extension(".gif");
    state_.setBusy(true);
    state_.setStatusMessage(format == Format::gif ? "Exporting GIF" : "Exporting MP4");
    state_.setExportProgress(0);

    const std::filesystem::path outputURL = job.outputURL;
    monitor_ = std::make_shared<ExportMonitor>([this](double fraction) {
        QMetaObject::invokeMethod(
            &state_, [this, fraction] { if (monitor_) state_.setExportProgress(fraction); }, Qt::QueuedConnection);
    });
    // Settings edits wait from here until the export is recorded.
    state_.setExporting(true);
    runOffMainThread(
        state_.workers(), &state_,
        [exporter = exporter_.get(), monitor = monitor_, job = std::move(job)]() -> std::optional<std::string> {
            try {
                exporter->exportMovie(job, *monitor);
                return std::nullopt;
            } catch (...) {
                return describeError(std::current_exception());
            }
        },
        [this, outputURL](std::optional<std::string> failure) { finish(failure, outputURL); });
}

void ExportFlow::finish(const std::optional<std::string>& failure, const std::filesystem::path& outputURL)
{
    const bool cancelled = monitor_ && monitor_->isCancelled();
    monitor_.reset();
    if (failure) {
        state_.setErrorMessage(failure);
    } else if (cancelled) {
        // The movie landed in the instant the user cancelled: the cancel promised no file.
        std::error_code error;
        std::filesystem::remove(outputURL, error);
        state_.setStatusMessage("Export cancelled");
    } else {
        state_.setExportProgress(1);
        std::error_code error;
        const auto bytes = std::filesystem::file_size(outputURL, error);
        session_.recordExport(outputURL, error ? 0 : std::int64_t(bytes), wallClock_());
        state_.setStatusMessage("Exported");
    }
    state_.setExporting(false);
    state_.setBusy(false);
}

void ExportFlow::cancel()
{
    if (monitor_) monitor_->cancel();
}

void ExportFlow::reveal()
{
    const auto& project = state_.currentProject();
    if (!project || !project->exportVideoPath) return;
    reveal(*project->exportVideoPath);
}

bool ExportFlow::recorded(const std::string& recordedPath) const
{
    const auto& project = state_.currentProject();
    if (!project || !session_.hasProject()) return false;
    return recordedPath == project->exportVideoPath.value_or("") ||
           std::ranges::any_of(project->exports, [&](const ExportRecord& record) { return record.path == recordedPath; });
}

void ExportFlow::reveal(const std::string& recordedPath)
{
    if (!recorded(recordedPath)) return;
    if (auto* shell = state_.desktopShell()) shell->revealFile(session_.exportURL(recordedPath));
}

void ExportFlow::moveToTrash(const std::string& recordedPath)
{
    // The list stays as it is while an export may add to it.
    if (state_.isBusy() || !recorded(recordedPath)) return;
    const std::filesystem::path file = session_.exportURL(recordedPath);
    std::error_code error;
    if (std::filesystem::exists(file, error) &&
        !moveToDesktopTrash(file)) {
        state_.setErrorMessage("无法将“" + file.filename().string() + "”移到回收站。");
        return;
    }
    session_.forgetExport(recordedPath);
}

}  // namespace vantile
