#pragma once

// Runs one command as a child process, as the benchmarks time the programs they compare.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace vantile::bench {

struct RunResult {
    double seconds = 0;
    double peakMegabytes = 0;
    double cpuSeconds = 0;  // user + system, all threads
};

// Wall time, CPU time and peak resident size of `command`, its output kept in `log`. A command
// that fails ends the benchmark, naming the log.
inline RunResult runChild(const std::vector<std::string>& command, const std::filesystem::path& log)
{
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (output >= 0) {
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
        }
        std::vector<char*> argv;
        for (const std::string& part : command) argv.push_back(const_cast<char*>(part.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "command failed: %s (see %s)\n", command[0].c_str(), log.c_str());
        std::exit(1);
    }
    const auto toSeconds = [](const timeval& value) {
        return static_cast<double>(value.tv_sec) + static_cast<double>(value.tv_usec) * 1e-6;
    };
    return {seconds, static_cast<double>(usage.ru_maxrss) / 1024.0, toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime)};
}

}  // namespace vantile::bench
