#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vantile {

// The kinds of file an export writes. The output's name picks one; the codecs follow from it
// (H.264 and AAC, except WebM: VP9 and Opus; GIF: a palette animation without audio).
enum class ExportContainer { mpeg4, quickTime, matroska, webM, gif };

// One choice a save dialog offers.
struct ExportFormat {
    ExportContainer container = ExportContainer::mpeg4;
    std::string extension;  // lower case, with its dot
    std::string label;      // what the user reads

    bool operator==(const ExportFormat&) const = default;
};

// Every format an export writes, the default first: MP4, MOV, MKV, WebM, GIF.
const std::vector<ExportFormat>& exportFormats();

// The container for an output name, by its extension in any letter case: MPEG-4 for .mp4,
// Matroska for .mkv, WebM for .webm, GIF for .gif, QuickTime for every other name.
ExportContainer exportContainer(const std::filesystem::path& output);

}  // namespace vantile
