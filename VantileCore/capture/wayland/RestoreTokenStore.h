#pragma once

#include "capture/CaptureBackend.h"

#include <filesystem>
#include <optional>
#include <string>

namespace vantile {

// Keeps the screen-cast portal's restore tokens, one per kind of source, so the system dialog
// appears once rather than at every recording.
class RestoreTokenStore {
public:
    explicit RestoreTokenStore(std::filesystem::path directory) : directory_(std::move(directory)) {}

    // $XDG_STATE_HOME/vantile, else ~/.local/state/vantile.
    static std::filesystem::path defaultDirectory(const EnvironmentLookup& environment);

    std::optional<std::string> load(const std::string& kind) const;
    // Replaces the token atomically; a write failure only costs the dialog next time.
    void save(const std::string& kind, const std::string& token) const;

private:
    std::filesystem::path fileFor(const std::string& kind) const;

    std::filesystem::path directory_;
};

}  // namespace vantile
