#include "support/VirtualDisplay.h"

#include <xcb/xcb.h>

#include <stdexcept>
#include <thread>

namespace vantile {

namespace {

bool acceptsClients(const std::string& name)
{
    xcb_connection_t* connection = xcb_connect(name.c_str(), nullptr);
    const bool connected = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return connected;
}

}  // namespace

VirtualDisplay::VirtualDisplay(int width, int height)
{
    const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    // Without -noreset the server resets whenever its last client leaves, and a client that
    // connects during the reset is turned away; a short-lived probe or tool would do that.
    // A server is only taken once a client really connects.
    for (int attempt = 0; attempt < 3; ++attempt) {
        // -displayfd picks a free display number and writes it once the server accepts clients.
        server_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"},
            ChildProcess::Options{.captureOutput = true});
        const auto number = server_->readLine(std::chrono::seconds(15));
        if (!number || number->empty()) continue;
        name_ = ":" + *number;
        for (int check = 0; check < 50 && server_->isRunning(); ++check) {
            if (acceptsClients(name_)) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    server_.reset();
    throw std::runtime_error("the virtual display (Xvfb) did not start");
}

}  // namespace vantile
