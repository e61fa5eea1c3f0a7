#pragma once

#include "model/Geometry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

struct ListedDisplay {
    std::uint64_t number = 0;  // the platform's display number
    std::string name;
    CGRectCodable frame;  // global screen coordinates
    double scaleFactor = 1;

    bool operator==(const ListedDisplay&) const = default;
};

struct ListedWindow {
    std::uint64_t number = 0;  // the platform's window number
    std::optional<std::string> title;
    std::optional<std::string> appName;
    CGRectCodable frame;

    bool operator==(const ListedWindow&) const = default;
};

struct ShareableContent {
    std::vector<ListedDisplay> displays;
    std::vector<ListedWindow> windows;  // on-screen windows, front to back as the platform orders them

    bool operator==(const ShareableContent&) const = default;
};

// What a display server offers for recording.
class SourceLister {
public:
    virtual ~SourceLister() = default;

    // Throws when the display server cannot be asked.
    virtual ShareableContent shareableContent() = 0;
    // The screens known without asking the capture service; may be empty.
    virtual std::vector<ListedDisplay> screens() = 0;
};

}  // namespace vantile
