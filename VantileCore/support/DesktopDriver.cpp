#include "support/DesktopDriver.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace vantile {

namespace {

using namespace std::chrono_literals;

// The dialog's first entry and buttons, from the middle of the monitor (it has a fixed size).
constexpr int firstEntryX = -170;
constexpr int firstEntryY = 26;
constexpr int shareX = 212;
constexpr int cancelX = -210;
constexpr int buttonsY = -128;
constexpr int bodyY = 80;
// The access dialog ("Turn On Camera?"): a plain spot of its body, and its two buttons.
constexpr int accessBodyX = 260;
constexpr int accessBodyY = -40;
constexpr int grantX = 149;
constexpr int denyX = -149;
constexpr int accessButtonsY = 78;

}  // namespace

DesktopDriver::DesktopDriver(HeadlessDesktop& desktop)
    : input_(desktop.busAddress()),
      screen_(desktop.openPipeWire(), input_.node(), 30, nullptr)
{
    if (!screen_.waitForFirstPicture(10s)) throw std::runtime_error("the monitor stream shows nothing");
}

bool DesktopDriver::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (condition()) return true;
        std::this_thread::sleep_for(50ms);
    }
    return condition();
}

const StreamPicture& DesktopDriver::picture()
{
    screen_.takeNewest(latest_);
    return latest_;
}

ShownPixel DesktopDriver::pixel(int x, int y)
{
    const StreamPicture& shown = picture();
    if (x < 0 || y < 0 || x >= shown.width || y >= shown.height) return {};
    const std::uint8_t* bgrx = shown.pixels.data() + (std::size_t(y) * std::size_t(shown.width) + std::size_t(x)) * 4;
    return {bgrx[2], bgrx[1], bgrx[0]};
}

long DesktopDriver::darkPixels()
{
    const StreamPicture& shown = picture();
    constexpr std::size_t step = 16;
    long dark = 0;
    for (std::size_t offset = 0; offset + 3 < shown.pixels.size(); offset += 4 * step)
        if (shown.pixels[offset] < 40 && shown.pixels[offset + 1] < 40 && shown.pixels[offset + 2] < 40) ++dark;
    return dark * long(step);
}

std::vector<ShownArea> DesktopDriver::areasOf(ShownPixel colour, int tolerance, long minimumPixels)
{
    const StreamPicture& shown = picture();
    const auto matches = [&](std::size_t index) {
        const std::uint8_t* bgrx = shown.pixels.data() + index * 4;
        return std::abs(bgrx[2] - colour.red) <= tolerance && std::abs(bgrx[1] - colour.green) <= tolerance &&
               std::abs(bgrx[0] - colour.blue) <= tolerance;
    };
    const std::size_t width = std::size_t(shown.width);
    const std::size_t count = width * std::size_t(shown.height);
    std::vector<bool> seen(count, false);
    std::vector<ShownArea> areas;
    std::vector<std::size_t> pending;
    for (std::size_t start = 0; start < count; ++start) {
        if (seen[start] || !matches(start)) continue;
        ShownArea area{int(start % width), int(start / width), int(start % width), int(start / width), 0};
        seen[start] = true;
        pending.push_back(start);
        while (!pending.empty()) {
            const std::size_t index = pending.back();
            pending.pop_back();
            const int x = int(index % width);
            const int y = int(index / width);
            area = {std::min(area.left, x), std::min(area.top, y), std::max(area.right, x), std::max(area.bottom, y),
                    area.pixels + 1};
            const auto visit = [&](std::size_t neighbour) {
                if (!seen[neighbour] && matches(neighbour)) {
                    seen[neighbour] = true;
                    pending.push_back(neighbour);
                }
            };
            if (x > 0) visit(index - 1);
            if (x + 1 < shown.width) visit(index + 1);
            if (y > 0) visit(index - width);
            if (y + 1 < shown.height) visit(index + width);
        }
        if (area.pixels >= minimumPixels) areas.push_back(area);
    }
    std::sort(areas.begin(), areas.end(), [](const ShownArea& one, const ShownArea& other) { return one.pixels > other.pixels; });
    return areas;
}

bool DesktopDriver::dialogShown()
{
    const StreamPicture& shown = picture();
    const ShownPixel body = pixel(shown.width / 2, shown.height / 2 + bodyY);
    return body.red > 220 && body.green > 220 && body.blue > 220;
}

void DesktopDriver::answerDialog(bool share)
{
    if (!waitUntil([&] { return dialogShown(); }, 30s)) throw std::runtime_error("no screen-share dialog appeared");
    const double middleX = picture().width / 2;
    const double middleY = picture().height / 2;
    if (share) {
        input_.click(middleX + firstEntryX, middleY + firstEntryY);
        std::this_thread::sleep_for(300ms);
        input_.click(middleX + shareX, middleY + buttonsY);
    } else {
        input_.click(middleX + cancelX, middleY + buttonsY);
    }
    if (!waitUntil([&] { return !dialogShown(); }, 10s)) throw std::runtime_error("the screen-share dialog stayed open");
}

bool DesktopDriver::accessDialogShown()
{
    const StreamPicture& shown = picture();
    const ShownPixel body = pixel(shown.width / 2 + accessBodyX, shown.height / 2 + accessBodyY);
    return body.red > 220 && body.green > 220 && body.blue > 220;
}

void DesktopDriver::answerAccessDialog(bool grant)
{
    if (!waitUntil([&] { return accessDialogShown(); }, 30s)) throw std::runtime_error("no access dialog appeared");
    const double middleX = picture().width / 2;
    const double middleY = picture().height / 2;
    input_.click(middleX + (grant ? grantX : denyX), middleY + accessButtonsY);
    if (!waitUntil([&] { return !accessDialogShown(); }, 10s)) throw std::runtime_error("the access dialog stayed open");
}

}  // namespace vantile
