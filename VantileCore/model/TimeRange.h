#pragma once

#include "model/JsonCoding.h"

namespace vantile {

// A stretch of the recording in seconds, start inclusive, end exclusive.
struct TimeRange {
    double start = 0;
    double end = 0;

    double length() const { return end - start; }

    UnknownKeys unknownKeys{};

    bool operator==(const TimeRange&) const = default;
};

void to_json(Json& json, const TimeRange& range);
void decodeValue(const Json& json, TimeRange& range);

}  // namespace vantile

