#include "capture/wayland/EvdevDevice.h"

#include <libevdev/libevdev.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace vantile {

namespace {

constexpr unsigned inputMajor = 13;  // the kernel's input subsystem

bool reportsWhatWeRecord(const libevdev* device)
{
    const bool pointer = libevdev_has_event_code(device, EV_KEY, BTN_LEFT) ||
                         libevdev_has_event_code(device, EV_REL, REL_WHEEL) ||
                         libevdev_has_event_code(device, EV_REL, REL_HWHEEL);
    const bool keyboard = libevdev_has_event_code(device, EV_KEY, KEY_A) ||
                          libevdev_has_event_code(device, EV_KEY, KEY_SPACE);
    return pointer || keyboard;
}

}  // namespace

std::unique_ptr<InputDevice> EvdevDevice::open(const std::filesystem::path& path)
{
    // A link or anything but the kernel's input devices is never read, even where root reads.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY);
    if (fd < 0) return nullptr;
    struct stat node {};
    if (fstat(fd, &node) != 0 || !S_ISCHR(node.st_mode) || major(node.st_rdev) != inputMajor) {
        ::close(fd);
        return nullptr;
    }
    libevdev* device = nullptr;
    // Kernel times then share steady_clock's clock.
    if (libevdev_new_from_fd(fd, &device) < 0 || libevdev_set_clock_id(device, CLOCK_MONOTONIC) < 0 ||
        !reportsWhatWeRecord(device)) {
        libevdev_free(device);
        ::close(fd);
        return nullptr;
    }
    return std::unique_ptr<InputDevice>(new EvdevDevice(fd, device));
}

EvdevDevice::~EvdevDevice()
{
    libevdev_free(device_);
    ::close(fd_);
}

bool EvdevDevice::read(std::vector<input_event>& records)
{
    for (;;) {
        input_event event{};
        int status = libevdev_next_event(device_, LIBEVDEV_READ_FLAG_NORMAL, &event);
        if (status == LIBEVDEV_READ_STATUS_SUCCESS) {
            records.push_back(event);
            continue;
        }
        if (status == LIBEVDEV_READ_STATUS_SYNC) {
            // Events were lost. The dropped marker and an empty report discard the unfinished
            // frame; libevdev then replays what changed meanwhile (a button released, say) as
            // ordinary frames.
            records.push_back(event);
            input_event report = event;
            report.type = EV_SYN;
            report.code = SYN_REPORT;
            report.value = 0;
            records.push_back(report);
            while ((status = libevdev_next_event(device_, LIBEVDEV_READ_FLAG_SYNC, &event)) == LIBEVDEV_READ_STATUS_SYNC)
                records.push_back(event);
            if (status != -EAGAIN && status != LIBEVDEV_READ_STATUS_SUCCESS) return status != -ENODEV;
            continue;
        }
        return status == -EAGAIN;
    }
}

}  // namespace vantile
