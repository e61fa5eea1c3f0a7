#include "capture/VirtualDisplay.h"

#include <stdexcept>

namespace vantile {

VirtualDisplay::VirtualDisplay(int width, int height)
{
    const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    // -displayfd picks a free display number and writes it once the server accepts clients.
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp"},
        ChildProcess::Options{.captureOutput = true});
    const auto number = server_->readLine(std::chrono::seconds(15));
    if (!number || number->empty()) throw std::runtime_error("the virtual display (Xvfb) did not start");
    name_ = ":" + *number;
}

}  // namespace vantile
