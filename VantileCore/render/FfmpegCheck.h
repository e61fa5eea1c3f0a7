#pragma once

#include <string>

namespace vantile {

// Throws RenderError(media) "<step>: <reason>" when `code` is negative; returns it otherwise.
int checkAv(int code, const std::string& step);

}  // namespace vantile
