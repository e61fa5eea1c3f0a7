#include "render/ExportManager.h"

#include "render/GifWriter.h"
#include "render/VideoFileWriter.h"

namespace vantile {

std::filesystem::path ExportManager::exportMovie(const RenderJob& job, ExportMonitor* monitor) const
{
    if (GifWriter::isGifPath(job.outputURL)) {
        GifWriter::writeGif(job, monitor);
    } else {
        VideoFileWriter::writeRenderedDemo(job, monitor);
    }
    return job.outputURL;
}

}  // namespace vantile
