#include "capture/wayland/InputDeviceSet.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace vantile {

namespace {

bool isEventNode(const std::string& name) { return name.starts_with("event"); }

}  // namespace

InputDeviceSet::InputDeviceSet(std::filesystem::path directory, InputDeviceOpener opener)
    : directory_(std::move(directory)), opener_(std::move(opener)), pollFd_(epoll_create1(EPOLL_CLOEXEC))
{
    if (pollFd_ < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
}

InputDeviceSet::~InputDeviceSet()
{
    close();
    ::close(pollFd_);
}

void InputDeviceSet::open()
{
    close();
    watchFd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    // Nodes appear, then udev gives them their group and mode: a node refused at creation may
    // become readable at its attribute change.
    if (watchFd_ >= 0 && inotify_add_watch(watchFd_, directory_.c_str(),
                                           IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM) >= 0) {
        epoll_event watch{.events = EPOLLIN, .data = {.fd = watchFd_}};
        epoll_ctl(pollFd_, EPOLL_CTL_ADD, watchFd_, &watch);
    } else if (watchFd_ >= 0) {
        ::close(watchFd_);
        watchFd_ = -1;
    }
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
        const std::string name = entry.path().filename().string();
        if (isEventNode(name)) openDevice(name);
    }
}

void InputDeviceSet::close()
{
    while (!devices_.empty()) closeDevice(devices_.begin()->first);
    if (watchFd_ >= 0) {
        epoll_ctl(pollFd_, EPOLL_CTL_DEL, watchFd_, nullptr);
        ::close(watchFd_);
        watchFd_ = -1;
    }
}

void InputDeviceSet::openDevice(const std::string& name)
{
    if (devices_.contains(name)) return;
    std::unique_ptr<InputDevice> device = opener_(directory_ / name);
    if (!device) return;
    epoll_event ready{.events = EPOLLIN, .data = {.fd = device->fileDescriptor()}};
    if (epoll_ctl(pollFd_, EPOLL_CTL_ADD, device->fileDescriptor(), &ready) < 0) return;
    OpenDevice& opened = devices_.emplace(name, OpenDevice{std::move(device), {}}).first->second;
    opened.decoder.recordShortcuts(keymap_);
}

void InputDeviceSet::recordShortcuts(const std::optional<KeyboardLayout>& layout)
{
    keymap_ = nullptr;
    if (layout && !(keymap_ = EvdevKeymap::compile(*layout))) keymap_ = EvdevKeymap::compile({});
    for (auto& [name, open] : devices_) open.decoder.recordShortcuts(keymap_);
}

void InputDeviceSet::closeDevice(const std::string& name)
{
    const auto found = devices_.find(name);
    if (found == devices_.end()) return;
    epoll_ctl(pollFd_, EPOLL_CTL_DEL, found->second.device->fileDescriptor(), nullptr);
    devices_.erase(found);
}

void InputDeviceSet::applyDirectoryChanges()
{
    if (watchFd_ < 0) return;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = ::read(watchFd_, buffer.data(), buffer.size());
        if (count <= 0) return;
        for (ssize_t offset = 0; offset < count;) {
            const auto* change = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + change->len);
            const std::string name = change->len ? change->name : "";
            if (!isEventNode(name)) continue;
            if (change->mask & (IN_DELETE | IN_MOVED_FROM))
                closeDevice(name);
            else
                openDevice(name);
        }
    }
}

std::vector<RawInput> InputDeviceSet::readPending()
{
    // Only devices that report readiness are read: a pipe that never had a writer reads as ended.
    std::array<epoll_event, 64> ready;
    const int readyCount = epoll_wait(pollFd_, ready.data(), static_cast<int>(ready.size()), 0);
    std::vector<int> readyFds;
    for (int index = 0; index < readyCount; ++index) readyFds.push_back(ready[static_cast<std::size_t>(index)].data.fd);
    if (std::ranges::find(readyFds, watchFd_) != readyFds.end()) applyDirectoryChanges();

    std::vector<RawInput> activity;
    std::vector<input_event> records;
    std::vector<std::string> gone;
    for (auto& [name, open] : devices_) {
        if (std::ranges::find(readyFds, open.device->fileDescriptor()) == readyFds.end()) continue;
        records.clear();
        const bool alive = open.device->read(records);
        for (const input_event& record : records) open.decoder.feed(record, activity);
        // Key codes go no further than the decoder; do not leave them lying in memory either.
        std::ranges::fill(records, input_event{});
        if (!alive) gone.push_back(name);
    }
    for (const std::string& name : gone) closeDevice(name);
    std::ranges::stable_sort(activity, [](const RawInput& a, const RawInput& b) { return *a.time < *b.time; });
    return activity;
}

}  // namespace vantile
