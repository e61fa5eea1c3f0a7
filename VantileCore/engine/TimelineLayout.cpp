#include "engine/TimelineLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantile::TimelineLayout {

std::string depthLabel(double scale)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", std::round(scale * 100) / 100);
    std::string number = text;
    while (!number.empty() && number.back() == '0') number.pop_back();
    if (!number.empty() && number.back() == '.') number.pop_back();
    return "×" + number;
}

std::vector<int> lanes(const std::vector<FocusSegment>& segments)
{
    std::vector<int> rows(segments.size(), 0);
    std::vector<double> rowEnds;  // where the last block of each row ends
    // Placed in start order whatever the list's order, so a later block never displaces an earlier one.
    std::vector<std::size_t> order(segments.size());
    for (std::size_t index = 0; index < order.size(); ++index) order[index] = index;
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return segments[a].start < segments[b].start; });
    for (const std::size_t index : order) {
        const FocusSegment& segment = segments[index];
        std::size_t row = 0;
        while (row < rowEnds.size() && rowEnds[row] > segment.start + 1e-9) ++row;
        if (row == rowEnds.size()) rowEnds.push_back(segment.end);
        else rowEnds[row] = segment.end;
        rows[index] = static_cast<int>(row);
    }
    return rows;
}

}  // namespace vantile::TimelineLayout
