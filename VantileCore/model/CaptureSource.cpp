#include "model/CaptureSource.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vantile {

namespace {

std::int64_t evenDimension(double value)
{
    // The nudge keeps a product such as 6000 x 0.576 = 3455.9999999999995 at its intended 3456.
    const double even = 2 * std::floor(value / 2 + 1e-9);
    // A size that is not finite or does not fit an integer is a programming fault.
    if (!std::isfinite(even) || std::fabs(even) >= 9.2e18) std::abort();
    return std::max<std::int64_t>(static_cast<std::int64_t>(even), 2);
}

}  // namespace

CaptureInfo CaptureSource::captureInfo() const
{
    return CaptureInfo{
        .sourceType = kind == SourceKind::display ? CaptureInfo::SourceType::display : CaptureInfo::SourceType::window,
        .displayId = displayId,
        .windowId = windowId,
        .appName = appName,
        .windowTitle = title,
        .region = region,
        .scaleFactor = scaleFactor,
    };
}

RecordingDimensions CaptureSource::recordingDimensions(double minWidth, double minHeight, double maxWidth,
                                                       double maxHeight) const
{
    double pixelWidth = region.width;
    double pixelHeight = region.height;
    if (scaleFactor >= 1) {
        pixelWidth *= scaleFactor;
        pixelHeight *= scaleFactor;
    }
    const double width = std::max(pixelWidth, 2.0);
    const double height = std::max(pixelHeight, 2.0);
    const double upScale = std::max({1.0, minWidth / width, minHeight / height});
    const double downScale =
        std::min({1.0, std::max(maxWidth, 2.0) / (width * upScale), std::max(maxHeight, 2.0) / (height * upScale)});
    const double factor = upScale * downScale;
    return {evenDimension(width * factor), evenDimension(height * factor)};
}

void to_json(Json& json, const CaptureSource& source)
{
    json = Json{{"id", source.id},       {"kind", source.kind},     {"appName", source.appName},
                {"title", source.title}, {"region", source.region}, {"scaleFactor", source.scaleFactor}};
    encodeOptionalKey(json, "displayId", source.displayId);
    encodeOptionalKey(json, "windowId", source.windowId);
}

void decodeValue(const Json& json, CaptureSource& source)
{
    requireObject(json);
    decodeKey(json, "id", source.id);
    decodeKey(json, "kind", source.kind);
    decodeOptionalKey(json, "displayId", source.displayId);
    decodeOptionalKey(json, "windowId", source.windowId);
    decodeKey(json, "appName", source.appName);
    decodeKey(json, "title", source.title);
    decodeKey(json, "region", source.region);
    decodeKey(json, "scaleFactor", source.scaleFactor);
}

}  // namespace vantile
