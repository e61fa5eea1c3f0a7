#include "capture/wayland/InputHelperRun.h"

#include "capture/wayland/InputHelperProtocol.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace vantile {

namespace {

// How often the parent is looked at, for where its death sends no signal.
constexpr std::chrono::milliseconds parentCheckInterval{500};

bool writeAll(int output, const std::byte* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(output, bytes, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) {
                pollfd ready{output, POLLOUT, 0};
                if (poll(&ready, 1, -1) < 0 && errno != EINTR) return false;
                if (ready.revents & (POLLERR | POLLHUP | POLLNVAL)) return false;
                continue;
            }
            return false;  // EPIPE above all: the reader is gone
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

bool writeInputHelperGreeting(int output, bool shortcuts)
{
    const auto& greeting = shortcuts ? InputHelperProtocol::shortcutsGreeting : InputHelperProtocol::greeting;
    return writeAll(output, reinterpret_cast<const std::byte*>(greeting.data()), greeting.size());
}

bool forwardInputActivity(InputActivitySource& devices, int output)
{
    std::vector<std::byte> bytes;
    for (const RawInput& input : devices.readPending())
        if (const auto record = InputHelperProtocol::encode(input)) bytes.insert(bytes.end(), record->begin(), record->end());
    return writeAll(output, bytes.data(), bytes.size());
}

InputHelperEnd runInputHelper(InputActivitySource& devices, int output, const InputHelperWatch& watch)
{
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= watch.deadline) return InputHelperEnd::timeLimit;
        if (watch.parent != 0 && getppid() != watch.parent) return InputHelperEnd::parentGone;
        const auto wait = std::min<std::chrono::steady_clock::duration>(parentCheckInterval, watch.deadline - now);
        // The output is polled for nothing but its errors: a pipe's writer sees POLLERR once the
        // last reader closed it.
        pollfd ready[2] = {{devices.fileDescriptor(), POLLIN, 0}, {output, 0, 0}};
        const int waitMilliseconds =
            static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
        if (poll(ready, 2, waitMilliseconds) < 0) {
            if (errno == EINTR) continue;
            return InputHelperEnd::readerGone;
        }
        if (ready[1].revents & (POLLERR | POLLHUP | POLLNVAL)) return InputHelperEnd::readerGone;
        if ((ready[0].revents & POLLIN) && !forwardInputActivity(devices, output)) return InputHelperEnd::readerGone;
    }
}

}  // namespace vantile
