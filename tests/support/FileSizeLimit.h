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

// The built vantile-cli under such a limit, which its children inherit; its standard error comes
// back through `errorFile`.
inline CommandResult runCliWithFileSizeLimit(std::uintmax_t bytes, const std::vector<std::string>& arguments,
                                             const std::filesystem::path& errorFile)
{
    CommandResult result;
    result.exitCode = runWithFileSizeLimit(bytes, [&] {
        const CommandResult run = runCli(arguments);
        std::ofstream(errorFile) << run.standardError;
        return run.exitCode;
    });
    std::ostringstream text;
    text << std::ifstream(errorFile).rdbuf();
    result.standardError = text.str();
    return result;
}

}  // namespace vantile::testing
