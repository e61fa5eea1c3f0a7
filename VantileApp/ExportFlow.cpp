#include "ExportFlow.h"

#include "AppState.h"
#include "MainThreadResume.h"
#include "ProjectSession.h"

namespace vantile {

ExportFlow::ExportFlow(AppState& state, ProjectSession& session, std::unique_ptr<ExportService> exporter)
    : state_(state), session_(session), exporter_(std::move(exporter))
{
}

void ExportFlow::start()
{
    if (state_.isBusy()) return;
    if (!session_.hasProject()) {
        state_.setErrorMessage("No project to export.");
        return;
    }
    state_.setBusy(true);
    state_.setStatusMessage("Exporting MP4");
    state_.setExportProgress(0);

    RenderJob job = session_.exportJob();
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
    monitor_.reset();
    if (failure) {
        state_.setErrorMessage(failure);
    } else {
        state_.setExportProgress(1);
        session_.recordExport(outputURL);
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
    const auto& directory = state_.projectDirectory();
    if (!directory || !project || !project->exportVideoPath) return;
    if (auto* shell = state_.desktopShell()) shell->revealFile(*directory / *project->exportVideoPath);
}

}  // namespace vantile
