#include "capture/CaptureSourceProvider.h"

#include "capture/CaptureSourceFilter.h"

#include <algorithm>
#include <exception>

namespace vantile {

namespace {

double intersectionArea(const CGRectCodable& a, const CGRectCodable& b)
{
    const double width = std::min(a.maxX(), b.maxX()) - std::max(a.minX(), b.minX());
    const double height = std::min(a.maxY(), b.maxY()) - std::max(a.minY(), b.minY());
    return width > 0 && height > 0 ? width * height : 0;
}

}  // namespace

double CaptureSourceProvider::scaleFactor(const CGRectCodable& rect, const std::vector<ListedDisplay>& screens)
{
    if (screens.empty()) return 1;
    const ListedDisplay* best = &screens.front();
    double bestArea = intersectionArea(rect, best->frame);
    for (const ListedDisplay& screen : screens) {
        const double area = intersectionArea(rect, screen.frame);
        if (area > bestArea) {
            best = &screen;
            bestArea = area;
        }
    }
    return best->scaleFactor;
}

CaptureSource displaySource(const ListedDisplay& display)
{
    const std::string number = std::to_string(display.number);
    return {
        .id = "display-" + number,
        .kind = CaptureSource::SourceKind::display,
        .displayId = number,
        .appName = "Display",
        .title = display.name.empty() ? "Display " + number : display.name,
        .region = display.frame,
        .scaleFactor = display.scaleFactor,
    };
}

std::vector<CaptureSource> CaptureSourceProvider::loadSources()
{
    ShareableContent content;
    fallbackReason_.reset();
    try {
        content = lister_.shareableContent();
    } catch (const std::exception& error) {
        fallbackReason_ = error.what();
        return fallbackDisplaySources();
    }

    std::vector<CaptureSource> sources;
    std::vector<CGRectCodable> displayBounds;
    for (const ListedDisplay& display : content.displays) {
        sources.push_back(displaySource(display));
        displayBounds.push_back(display.frame);
    }
    for (const ListedWindow& window : content.windows) {
        if (!CaptureSourceFilter::shouldIncludeWindow(window.title, window.appName, window.frame, displayBounds))
            continue;
        const std::string number = std::to_string(window.number);
        const std::string appName = window.appName.value_or("Unknown App");
        const std::string title = window.title.value_or("Untitled Window");
        sources.push_back({
            .id = "window-" + number,
            .kind = CaptureSource::SourceKind::window,
            .windowId = number,
            .appName = appName,
            .title = title.empty() ? appName : title,
            .region = window.frame,
            .scaleFactor = scaleFactor(window.frame, content.displays),
        });
    }
    return sources;
}

std::vector<CaptureSource> CaptureSourceProvider::fallbackDisplaySources()
{
    std::vector<CaptureSource> sources;
    std::vector<ListedDisplay> screens;
    try {
        screens = lister_.screens();
    } catch (const std::exception&) {
        return sources;
    }
    for (std::size_t index = 0; index < screens.size(); ++index) {
        sources.push_back({
            .id = "display-fallback-" + std::to_string(index),
            .kind = CaptureSource::SourceKind::display,
            .appName = "Display",
            .title = screens[index].name,
            .region = screens[index].frame,
            .scaleFactor = screens[index].scaleFactor,
        });
    }
    return sources;
}

}  // namespace vantile
