#include "render/ExportManager.h"

#include "render/VideoFileWriter.h"

namespace vantile {

std::filesystem::path ExportManager::exportMovie(const RenderJob& job, ExportMonitor* monitor) const
{
    VideoFileWriter::writeRenderedDemo(job, monitor);
    return job.outputURL;
}

}  // namespace vantile
