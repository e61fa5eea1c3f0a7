#pragma once

#include "model/Geometry.h"

#include <mutex>
#include <vector>

namespace vantile {

// Screen areas whose input is not the user's take: the recording application's own windows
// (its recording control, an open tray menu, a visible main window), in global screen
// coordinates. The application sets them from its UI thread while the input thread reads.
class ExcludedAreas {
public:
    void set(std::vector<CGRectCodable> areas);
    std::vector<CGRectCodable> areas() const;
    // Right and bottom edges are outside, as for a window's pixels.
    bool contains(const CodablePoint& point) const;

private:
    mutable std::mutex mutex_;
    std::vector<CGRectCodable> areas_;
};

}  // namespace vantile
