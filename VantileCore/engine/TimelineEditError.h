#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// An edit that cannot be applied; the message is the one line a user reads.
class TimelineEditError : public std::runtime_error {
public:
    // `key` names the project's field at fault ("trim", "cuts[1]", ...) when a stored timeline
    // is checked, so a refused file can point at the line to mend.
    explicit TimelineEditError(const std::string& message, std::string key = {})
        : std::runtime_error(message), key_(std::move(key))
    {
    }

    const std::string& key() const { return key_; }

private:
    std::string key_;
};

}  // namespace vantile
