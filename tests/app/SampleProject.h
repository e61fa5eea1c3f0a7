#pragma once

#include "sample/SampleProjectWriter.h"

#include <filesystem>

namespace vantile::testing {

// A saved project of a synthetic screen recording whose scripted input is planned and smoothed
// as a real recording's would be.
inline RecordingProject makeSampleProject(const std::filesystem::path& directory, int width = 1280, int height = 720,
                                          double duration = 4)
{
    return SampleProjectWriter::write(directory, {duration, width, height});
}

}  // namespace vantile::testing
