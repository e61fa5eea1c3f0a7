#include "capture/wayland/InputEventStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace vantile {

std::unique_ptr<InputDevice> InputEventStream::open(const std::filesystem::path& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    return std::make_unique<InputEventStream>(fd);
}

InputEventStream::~InputEventStream() { ::close(fd_); }

bool InputEventStream::read(std::vector<input_event>& records)
{
    std::array<std::byte, 64 * sizeof(input_event)> buffer;
    for (;;) {
        const ssize_t count = ::read(fd_, buffer.data(), buffer.size());
        if (count == 0) return false;
        if (count < 0) {
            if (errno == EINTR) continue;
            return errno == EAGAIN;
        }
        partial_.insert(partial_.end(), buffer.begin(), buffer.begin() + count);
        const std::size_t whole = partial_.size() / sizeof(input_event);
        for (std::size_t index = 0; index < whole; ++index) {
            input_event record;
            std::memcpy(&record, partial_.data() + index * sizeof(input_event), sizeof record);
            records.push_back(record);
        }
        partial_.erase(partial_.begin(), partial_.begin() + static_cast<std::ptrdiff_t>(whole * sizeof(input_event)));
    }
}

}  // namespace vantile
