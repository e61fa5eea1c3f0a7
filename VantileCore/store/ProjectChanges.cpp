#include "store/ProjectChanges.h"

namespace vantile {

RecordingProject mergeProjectChanges(const RecordingProject& base, const RecordingProject& changed,
                                     RecordingProject onDisk)
{
    const auto takeChanged = [&](auto... fields) {
        const auto take = [&](auto field) {
            if (changed.*field != base.*field) onDisk.*field = changed.*field;
        };
        (take(fields), ...);
    };
    using P = RecordingProject;
    takeChanged(&P::id, &P::createdAt, &P::duration, &P::capture, &P::video, &P::events, &P::focusSegments,
                &P::cursorFrames, &P::renderSettings, &P::audioSettings, &P::rawVideoPath, &P::previewVideoPath,
                &P::exportVideoPath, &P::unknownKeys);
    if (changed.trim != base.trim || changed.cuts != base.cuts) {
        onDisk.trim = changed.trim;
        onDisk.cuts = changed.cuts;
    }
    return onDisk;
}

}  // namespace vantile
