#pragma once

#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantile::testing {

// Environment variables set (or, with nullopt, unset) for one scope and restored after it.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::initializer_list<std::pair<std::string, std::optional<std::string>>> values)
    {
        for (const auto& [name, value] : values) {
            const char* before = std::getenv(name.c_str());
            saved_.emplace_back(name, before ? std::optional<std::string>(before) : std::nullopt);
            apply(name, value);
        }
    }
    ~ScopedEnvironment()
    {
        for (const auto& [name, value] : saved_) apply(name, value);
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    static void apply(const std::string& name, const std::optional<std::string>& value)
    {
        if (value)
            setenv(name.c_str(), value->c_str(), 1);
        else
            unsetenv(name.c_str());
    }

    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

// The "us" layout whatever the machine's, as Wayland compositors take it from the environment.
inline ScopedEnvironment usKeyboardLayout()
{
    return {{"XKB_DEFAULT_RULES", std::nullopt}, {"XKB_DEFAULT_MODEL", std::nullopt}, {"XKB_DEFAULT_LAYOUT", "us"},
            {"XKB_DEFAULT_VARIANT", std::nullopt}, {"XKB_DEFAULT_OPTIONS", std::nullopt}};
}

}  // namespace vantile::testing
