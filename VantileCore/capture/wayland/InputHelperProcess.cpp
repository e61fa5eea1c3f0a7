#include "capture/wayland/InputHelperProcess.h"

#include "capture/wayland/InputHelperArguments.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <thread>

extern char** environ;

namespace vantile {

namespace {

// A helper that closed its output exits at once; one that is still waiting for consent is left
// to be reaped in the background.
constexpr std::chrono::milliseconds exitPatience{2000};

}  // namespace

bool InputHelperProcess::available()
{
    return access(installedPath, X_OK) == 0 && access(pkexecPath, X_OK) == 0;
}

InputHelperProcess::InputHelperProcess(std::vector<std::string> command)
    : command_(std::move(command)), pollFd_(epoll_create1(EPOLL_CLOEXEC))
{
    if (pollFd_ < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
}

InputHelperProcess::~InputHelperProcess()
{
    close();
    ::close(pollFd_);
}

void InputHelperProcess::open()
{
    close();
    reader_ = InputHelperRecordReader(shortcuts_.has_value());
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    std::vector<std::string> command = command_;
    if (shortcuts_) std::ranges::copy(inputHelperShortcutArguments(*shortcuts_), std::back_inserter(command));
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    // Spawned from the thread that will outlive the recording: the helper watches this thread.
    const int spawned = posix_spawn(&child_, arguments.front(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    if (spawned != 0) {
        child_ = 0;
        ::close(pipe[0]);
        return;
    }
    output_ = pipe[0];
    fcntl(output_, F_SETFL, fcntl(output_, F_GETFL) | O_NONBLOCK);
    epoll_event ready{.events = EPOLLIN, .data = {.fd = output_}};
    epoll_ctl(pollFd_, EPOLL_CTL_ADD, output_, &ready);
}

void InputHelperProcess::stopReading()
{
    if (output_ < 0) return;
    epoll_ctl(pollFd_, EPOLL_CTL_DEL, output_, nullptr);
    ::close(output_);
    output_ = -1;
}

void InputHelperProcess::reap()
{
    if (child_ == 0) return;
    const auto giveUp = std::chrono::steady_clock::now() + exitPatience;
    int status = 0;
    while (waitpid(child_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > giveUp) {
            // Still at the password dialog, where pkexec runs with the user's own rights and
            // takes a signal; a helper running as root does not, and ends on the closed pipe.
            kill(child_, SIGTERM);
            std::thread([child = child_] {
                int ignored = 0;
                waitpid(child, &ignored, 0);
            }).detach();
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    child_ = 0;
}

void InputHelperProcess::close()
{
    stopReading();
    reap();
}

std::vector<RawInput> InputHelperProcess::readPending()
{
    std::vector<RawInput> activity;
    if (output_ < 0) return activity;
    std::array<std::byte, 64 * InputHelperProtocol::recordSize> buffer;
    for (;;) {
        const ssize_t count = ::read(output_, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) break;
        if (count <= 0 || !reader_.append(buffer.data(), static_cast<std::size_t>(count), activity)) {
            // Ended or broke the format: the recording goes on with the pointer alone.
            stopReading();
            reap();
            break;
        }
    }
    return activity;
}

void InputHelperProcess::recordShortcuts(const std::optional<KeyboardLayout>& layout) { shortcuts_ = layout; }

bool InputHelperProcess::authorize(const std::vector<std::string>& command, std::chrono::milliseconds patience)
{
    InputHelperProcess helper(command);
    helper.open();
    const auto giveUp = std::chrono::steady_clock::now() + patience;
    while (!helper.greeted() && !helper.ended()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(giveUp - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd ready{helper.fileDescriptor(), POLLIN, 0};
        poll(&ready, 1, static_cast<int>(std::min<std::int64_t>(left.count(), 1000)));
        helper.readPending();
    }
    const bool agreed = helper.greeted();
    helper.close();
    return agreed;
}

}  // namespace vantile
