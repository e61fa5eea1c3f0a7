#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vantile {

// A helper program started by this process (a virtual display, a sound server, the sample
// app), stopped again when the object goes.
class ChildProcess {
public:
    struct Options {
        std::vector<std::string> environment;  // "NAME=value" entries added to ours
        bool captureOutput = false;            // read the child's stdout through readLine()
        std::vector<int> inheritedDescriptors; // kept open in the child
    };

    // Throws std::runtime_error when the program cannot be started.
    ChildProcess(const std::vector<std::string>& arguments, const Options& options);
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool isRunning();
    // One line of the child's output, or nothing when the timeout passes or the child ends.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout);
    // SIGTERM, then SIGKILL when the child does not end within the grace period.
    void stop(std::chrono::milliseconds grace = std::chrono::milliseconds(3000));

private:
    pid_t pid_ = -1;
    int outputDescriptor_ = -1;
    std::string buffered_;
    bool reaped_ = false;
};

}  // namespace vantile
