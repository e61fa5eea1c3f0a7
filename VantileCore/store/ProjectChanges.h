#pragma once

#include "model/RecordingProject.h"

namespace vantile {

// What one writer changed since it loaded (or last saved) a project, laid over the project as it
// is on disk now: every field this writer left alone keeps what another program saved there
// meanwhile, down to single settings. The trim and the cuts travel together, since one without the
// other can keep nothing; the lists are taken whole.
RecordingProject mergeProjectChanges(const RecordingProject& base, const RecordingProject& changed,
                                     RecordingProject onDisk);

}  // namespace vantile
