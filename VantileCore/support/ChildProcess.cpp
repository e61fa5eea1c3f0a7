#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace vantile {

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const Options& options)
{
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) environment.emplace_back(*entry);
    for (const std::string& added : options.environment) {
        const std::string name = added.substr(0, added.find('=') + 1);
        std::erase_if(environment, [&](const std::string& existing) { return existing.starts_with(name); });
        environment.push_back(added);
    }
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (const std::string& entry : environment) envp.push_back(const_cast<char*>(entry.c_str()));
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int pipeDescriptors[2] = {-1, -1};
    if (options.captureOutput) {
        if (pipe2(pipeDescriptors, O_CLOEXEC) != 0) throw std::runtime_error("cannot create a pipe");
        posix_spawn_file_actions_adddup2(&actions, pipeDescriptors[1], STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int descriptor : options.inheritedDescriptors) fcntl(descriptor, F_SETFD, 0);

    const int failed = posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (options.captureOutput) {
        close(pipeDescriptors[1]);
        outputDescriptor_ = pipeDescriptors[0];
    }
    if (failed != 0) {
        if (outputDescriptor_ >= 0) close(outputDescriptor_);
        throw std::runtime_error("cannot start " + arguments.front() + ": " + std::strerror(failed));
    }
}

ChildProcess::~ChildProcess()
{
    stop();
    if (outputDescriptor_ >= 0) close(outputDescriptor_);
}

bool ChildProcess::isRunning()
{
    if (reaped_) return false;
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) reaped_ = true;
    return !reaped_;
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (const auto end = buffered_.find('\n'); end != std::string::npos) {
            std::string line = buffered_.substr(0, end);
            buffered_.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (outputDescriptor_ < 0 || left.count() <= 0) return std::nullopt;
        pollfd descriptor{outputDescriptor_, POLLIN, 0};
        if (poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) continue;
        char chunk[4096];
        const ssize_t count = read(outputDescriptor_, chunk, sizeof chunk);
        if (count <= 0) return std::nullopt;
        buffered_.append(chunk, static_cast<std::size_t>(count));
    }
}

void ChildProcess::stop(std::chrono::milliseconds grace)
{
    if (reaped_ || pid_ <= 0) return;
    kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + grace;
    int status = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            reaped_ = true;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
    reaped_ = true;
}

}  // namespace vantile
