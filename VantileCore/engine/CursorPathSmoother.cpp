#include "engine/CursorPathSmoother.h"

namespace vantile {

std::vector<CursorFrame> CursorPathSmoother::smooth(const std::vector<InputEvent>&, std::int64_t, double) const
{
    return {};
}

}  // namespace vantile
