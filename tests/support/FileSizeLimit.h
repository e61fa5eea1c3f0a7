#pragma once

#include "support/RunCommand.h"

#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace vantile::testing {

// Runs `work` in a child process whose files cannot grow past `bytes`, as if the disk were
// full: a write past the limit fails (EFBIG) instead of killing the child. Returns its exit
// status. Needs no privileges, unlike a small mounted file system.
inline int runWithFileSizeLimit(std::uintmax_t bytes, const std::function<int()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(work());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The built vantile-cli under such a limit; its standard error is returned.
inline CommandResult runCliWithFileSizeLimit(std::uintmax_t bytes, const std::vector<std::string>& arguments,
                                             const std::filesystem::path& errorFile)
{
    CommandResult result;
    result.exitCode = runWithFileSizeLimit(bytes, [&] {
        std::vector<char*> argv{const_cast<char*>(VANTILE_CLI)};
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        if (!std::freopen(errorFile.c_str(), "w", stderr) || !std::freopen((errorFile.string() + ".out").c_str(), "w", stdout)) return 126;
        ::execv(VANTILE_CLI, argv.data());
        return 127;
    });
    std::ifstream errors(errorFile);
    std::ostringstream text;
    text << errors.rdbuf();
    result.standardError = text.str();
    return result;
}

}  // namespace vantile::testing
