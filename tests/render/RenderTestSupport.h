#pragma once

#include "model/JsonCoding.h"
#include "model/RecordingProject.h"

#include <QColor>
#include <QImage>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vantile::test {

// A fresh directory under the system's temporary directory, removed with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::vector<std::string> fileNames() const;  // including hidden ones, sorted

private:
    std::filesystem::path path_;
};

struct CommandResult {
    int status = -1;
    std::string output;  // stdout
    std::string errors;  // stderr
};

CommandResult runCommand(const std::vector<std::string>& arguments);

// ffprobe's JSON description (format and streams) of a movie.
Json probe(const std::filesystem::path& movie);
int countVideoFrames(const std::filesystem::path& movie);
// One decoded frame at `seconds`, as players convert it (honouring the stream's colour tags).
QImage decodeFrame(const std::filesystem::path& movie, double seconds);

// A small raw movie: every frame filled by `paint` (frame index → image), 30 fps, with
// `audioTracks` AAC tracks of a quiet tone, or of `sound` (track, seconds → sample) when given.
void writeRawMovie(const std::filesystem::path& path, int width, int height, double duration, int audioTracks,
                   const std::function<void(QImage&, int)>& paint,
                   const std::function<float(int, double)>& sound = {});

// A project record for a raw movie of that size, with a short click path.
RecordingProject makeProject(int width, int height, double duration);

bool near(QColor actual, QColor expected, int tolerance);
std::string describe(QColor color);

}  // namespace vantile::test
