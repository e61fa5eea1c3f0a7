#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vantile::testing {

struct CommandResult {
    int exitCode = -1;
    std::string standardOutput;
    std::string standardError;
};

inline std::string quoteForShell(const std::string& text)
{
    std::string quoted = "'";
    for (char character : text) quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return quoted + "'";
}

// Runs a shell command line with stdin closed and captures both streams.
inline CommandResult runShell(const std::string& commandLine)
{
    char errorPath[] = "/tmp/vantile-stderr-XXXXXX";
    const int errorFile = ::mkstemp(errorPath);
    ::close(errorFile);
    CommandResult result;
    // Braced, so the command's own redirections (2>&1) apply inside ours.
    FILE* pipe = ::popen(("{ " + commandLine + "\n} </dev/null 2>" + errorPath).c_str(), "r");
    if (!pipe) return result;
    char buffer[65536];
    std::size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.standardOutput.append(buffer, count);
    const int status = ::pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    std::ifstream errorStream(errorPath);
    std::ostringstream errorText;
    errorText << errorStream.rdbuf();
    result.standardError = errorText.str();
    std::filesystem::remove(errorPath);
    return result;
}

// Runs a program with these arguments, no shell involved in their meaning.
inline CommandResult runCommand(const std::vector<std::string>& arguments)
{
    std::string commandLine;
    for (const auto& argument : arguments) commandLine += (commandLine.empty() ? "" : " ") + quoteForShell(argument);
    return runShell(commandLine);
}

// A shell command's standard output alone.
inline std::string commandOutput(const std::string& commandLine) { return runShell(commandLine).standardOutput; }

// Runs the built vantile-cli with the given arguments.
inline CommandResult runCli(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), VANTILE_CLI);
    return runCommand(arguments);
}

}  // namespace vantile::testing
