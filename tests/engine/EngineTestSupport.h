#pragma once

#include "model/CursorFrame.h"
#include "model/FocusSegment.h"
#include "model/InputEvent.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantile::testing {

inline InputEvent makeEvent(double time, InputEvent::EventType type, double x = 0, double y = 0)
{
    InputEvent event;
    event.time = time;
    event.type = type;
    event.x = x;
    event.y = y;
    return event;
}

// Doubles print in full, so two values that differ never read the same.
template <typename T>
std::string describe(const T& value)
{
    return Json(value).dump();
}

// A camera view of `scale` around the centre: zoomed between 1 and the cap, wholly inside the video.
inline ::testing::AssertionResult viewInsideVideo(double centerX, double centerY, double scale, double width,
                                                  double height)
{
    const double halfWidth = width / scale * 0.5;
    const double halfHeight = height / scale * 0.5;
    if (scale >= 1.0 && scale <= 1.8 && centerX - halfWidth >= -1e-9 && centerX + halfWidth <= width + 1e-9 &&
        centerY - halfHeight >= -1e-9 && centerY + halfHeight <= height + 1e-9) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "view x" << scale << " at (" << centerX << ", " << centerY
                                         << ") leaves the " << width << " x " << height << " video";
}

// Exact equality of two lists, naming the first element that differs.
template <typename T>
::testing::AssertionResult sameList(const std::vector<T>& actual, const std::vector<T>& expected)
{
    for (std::size_t index = 0; index < std::min(actual.size(), expected.size()); ++index) {
        if (!(actual[index] == expected[index])) {
            return ::testing::AssertionFailure() << "element " << index << ": " << describe(actual[index])
                                                 << " but expected " << describe(expected[index]);
        }
    }
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure() << actual.size() << " elements but expected " << expected.size();
    }
    return ::testing::AssertionSuccess();
}

}  // namespace vantile::testing
