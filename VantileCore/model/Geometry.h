#pragma once

#include "model/JsonCoding.h"

namespace vantile {

struct CodablePoint {
    double x = 0;
    double y = 0;

    bool operator==(const CodablePoint&) const = default;
};

// Stored flat (x, y, width, height), never as nested origin and size.
struct CGRectCodable {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }

    UnknownKeys unknownKeys{};

    bool operator==(const CGRectCodable&) const = default;
};

void to_json(Json& json, const CodablePoint& point);
void decodeValue(const Json& json, CodablePoint& point);
void to_json(Json& json, const CGRectCodable& rect);
void decodeValue(const Json& json, CGRectCodable& rect);

}  // namespace vantile
