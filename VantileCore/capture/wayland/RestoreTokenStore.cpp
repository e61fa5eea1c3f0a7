#include "capture/wayland/RestoreTokenStore.h"

#include <fstream>
#include <iterator>
#include <system_error>
#include <unistd.h>

namespace vantile {

std::filesystem::path RestoreTokenStore::defaultDirectory(const EnvironmentLookup& environment)
{
    // Relative values are invalid by the XDG rules and are ignored.
    if (const char* state = environment("XDG_STATE_HOME"); state && *state == '/')
        return std::filesystem::path(state) / "vantile";
    const char* home = environment("HOME");
    return std::filesystem::path(home && *home ? home : "/tmp") / ".local" / "state" / "vantile";
}

std::filesystem::path RestoreTokenStore::fileFor(const std::string& kind) const
{
    return directory_ / ("screencast-" + kind + ".token");
}

std::optional<std::string> RestoreTokenStore::load(const std::string& kind) const
{
    std::ifstream file(fileFor(kind));
    if (!file) return std::nullopt;
    std::string token((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    while (!token.empty() && (token.back() == '\n' || token.back() == ' ')) token.pop_back();
    if (token.empty()) return std::nullopt;
    return token;
}

void RestoreTokenStore::save(const std::string& kind, const std::string& token) const
{
    std::error_code error;
    std::filesystem::create_directories(directory_, error);
    const std::filesystem::path target = fileFor(kind);
    const std::filesystem::path temporary = target.string() + "." + std::to_string(getpid()) + ".tmp";
    {
        std::ofstream file(temporary, std::ios::trunc);
        if (!(file << token << "\n")) {
            std::filesystem::remove(temporary, error);
            return;
        }
    }
    std::filesystem::rename(temporary, target, error);
    if (error) std::filesystem::remove(temporary, error);
}

}  // namespace vantile
