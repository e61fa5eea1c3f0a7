#pragma once

#include "model/FocusSegment.h"

#include <string>
#include <vector>

namespace vantile {

// How the timeline's zoom blocks are laid out so each stays readable.
namespace TimelineLayout {

// The block's label: its real depth with up to two decimals, trailing zeros dropped
// ("×2", "×1.5", "×1.52").
std::string depthLabel(double scale);

// A row for each segment, in the segments' order: a segment goes to the first row where it
// overlaps no earlier segment, so overlapping blocks sit one above the other.
std::vector<int> lanes(const std::vector<FocusSegment>& segments);

}  // namespace TimelineLayout

}  // namespace vantile
