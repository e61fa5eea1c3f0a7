#include "render/ExportFormat.h"

#include <algorithm>
#include <cctype>

namespace vantile {

const std::vector<ExportFormat>& exportFormats()
{
    static const std::vector<ExportFormat> formats{
        {ExportContainer::mpeg4, ".mp4", "MP4 视频 (H.264)"},
        {ExportContainer::quickTime, ".mov", "QuickTime 影片 (H.264)"},
        {ExportContainer::matroska, ".mkv", "Matroska 视频 (H.264)"},
        {ExportContainer::webM, ".webm", "WebM 视频 (VP9)"},
        {ExportContainer::gif, ".gif", "GIF 动图 (无声音)"},
    };
    return formats;
}

ExportContainer exportContainer(const std::filesystem::path& output)
{
    std::string extension = output.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const ExportFormat& format : exportFormats()) {
        if (format.extension == extension) return format.container;
    }
    return ExportContainer::quickTime;
}

}  // namespace vantile
