#include "support/DesktopDriver.h"

#include <stdexcept>
#include <thread>

namespace vantile {

namespace {

using namespace std::chrono_literals;

// Where the dialog of a 1920x1080 monitor has its first entry and its buttons.
constexpr int firstEntryX = 790;
constexpr int firstEntryY = 566;
constexpr int shareX = 1172;
constexpr int cancelX = 750;
constexpr int buttonsY = 412;

}  // namespace

DesktopDriver::DesktopDriver(HeadlessDesktop& desktop)
    : input_(desktop.busAddress()),
      screen_(desktop.openPipeWire(), input_.node(), nullptr)
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

bool DesktopDriver::dialogShown()
{
    const ShownPixel body = pixel(960, 620);
    return body.red > 220 && body.green > 220 && body.blue > 220;
}

void DesktopDriver::answerDialog(bool share)
{
    if (!waitUntil([&] { return dialogShown(); }, 30s)) throw std::runtime_error("no screen-share dialog appeared");
    if (share) {
        input_.click(firstEntryX, firstEntryY);
        std::this_thread::sleep_for(300ms);
        input_.click(shareX, buttonsY);
    } else {
        input_.click(cancelX, buttonsY);
    }
    if (!waitUntil([&] { return !dialogShown(); }, 10s)) throw std::runtime_error("the screen-share dialog stayed open");
}

}  // namespace vantile
