#include "render/FfmpegCheck.h"

#include "media/FfmpegHandles.h"
#include "render/RenderError.h"

namespace vantile {

int checkAv(int code, const std::string& step)
{
    if (code < 0) throw RenderError(RenderError::Kind::media, step + ": " + averrorText(code));
    return code;
}

}  // namespace vantile
