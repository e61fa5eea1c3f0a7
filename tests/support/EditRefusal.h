#pragma once

#include "engine/TimelineEditError.h"

#include <functional>
#include <string>

namespace vantile::testing {

// The one line a refused timeline edit says, or "accepted" when it went through.
inline std::string refusal(const std::function<void()>& edit)
{
    try {
        edit();
    } catch (const TimelineEditError& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace vantile::testing
