#include "render/RenderJob.h"

#include "engine/CroppedRecording.h"

namespace vantile {

RenderJob croppedJob(RenderJob job)
{
    if (!job.project.crop) return job;
    const RecordingCrop crop = *job.project.crop;
    job.project = CroppedRecording::view(job.project);
    job.focusSegments = CroppedRecording::segmentsInside(std::move(job.focusSegments), crop);
    job.cursorFrames = CroppedRecording::cursorInside(std::move(job.cursorFrames), crop);
    job.sourceCrop = crop;
    return job;
}

}  // namespace vantile
