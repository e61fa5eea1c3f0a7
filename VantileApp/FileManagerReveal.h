#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace vantile::FileManagerReveal {

// The two ways of showing a file, replaceable in tests.
struct Ways {
    // Asks the file manager to show the file selected; `answered` is told whether one did.
    std::function<void(const std::filesystem::path& file, std::function<void(bool shown)> answered)> showItems;
    // Opens a folder in the desktop's default application; false when nothing could be started.
    std::function<bool(const std::filesystem::path& folder)> openFolder;
};

// org.freedesktop.FileManager1.ShowItems over the session bus, and QDesktopServices.
Ways desktopWays();

// Shows the file selected in the desktop's file manager; when no file manager answers, opens
// its folder; when that fails too, `failed` gets the sentence to show.
void reveal(const std::filesystem::path& file, const Ways& ways,
            std::function<void(const std::string& failure)> failed);

}  // namespace vantile::FileManagerReveal
