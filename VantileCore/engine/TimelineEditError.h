#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// An edit that cannot be applied; the message is the one line a user reads.
class TimelineEditError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace vantile
