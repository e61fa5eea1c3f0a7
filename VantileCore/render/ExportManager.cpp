#include "render/ExportManager.h"

#include "render/GifWriter.h"
#include "render/RenderError.h"
#include "render/VideoFileWriter.h"
#include "store/AtomicFile.h"

namespace vantile {

std::filesystem::path ExportManager::exportMovie(const RenderJob& job, ExportMonitor* monitor,
                                                 const BeforeReplacing& beforeReplacing) const
{
    const std::filesystem::path directory = job.outputURL.parent_path();
    // An export that was killed left its hidden files; the next one into that directory removes them.
    removeAbandonedTemporarySiblings(directory.empty() ? "." : directory, VideoFileWriter::exportTemporaryRoles);
    RenderJob staged = job;
    // The extension stays last: it picks the container. Each export stages under a name of its
    // own, so two exports to one destination do not take each other's file.
    staged.outputURL = processTemporarySiblingPath(job.outputURL, "export", job.outputURL.extension().string());
    try {
        if (GifWriter::isGifPath(job.outputURL)) {
            GifWriter::writeGif(staged, monitor);
        } else {
            VideoFileWriter::writeRenderedDemo(staged, monitor);
        }
        if (monitor && monitor->isCancelled()) throw RenderError::cancelled();
        if (beforeReplacing) beforeReplacing(staged.outputURL);
        VideoFileWriter::replace(job.outputURL, staged.outputURL);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(staged.outputURL, ignored);
        throw;
    }
    return job.outputURL;
}

}  // namespace vantile
