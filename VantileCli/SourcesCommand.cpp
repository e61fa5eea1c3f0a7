#include "CommandLine.h"
#include "Commands.h"

#include "capture/CaptureBackend.h"
#include "capture/camera/DesktopCameraLister.h"
#include "store/ProjectFileManager.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace vantile::cli {

int runSources(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {}, {"--json"});
    parsed.expectPositionalCount(0);
    const auto backend = makeCaptureBackend(chooseCaptureBackend());
    // Without a display server the lister would quietly fall back to nothing; say why instead.
    backend->requireDisplayServer();
    const std::vector<CaptureSource> sources = backend->loadSources();
    // The fallback's screens cannot be recorded; say why there is nothing better instead.
    if (const auto reason = backend->fallbackReason()) throw std::runtime_error("Cannot list capture sources: " + *reason);
    const std::vector<CameraDevice> cameras = DesktopCameraLister().cameras();
    if (parsed.flag("--json")) {
        Json listed(sources);
        for (const CameraDevice& camera : cameras) listed.push_back(camera);
        std::cout << ProjectFileManager::encodeDocument(listed) << "\n";
        return 0;
    }
    for (const CaptureSource& source : sources) {
        char region[96];
        std::snprintf(region, sizeof region, "%gx%g at %g,%g", source.region.width, source.region.height,
                      source.region.x, source.region.y);
        std::cout << source.id << "  " << source.title;
        if (source.kind == CaptureSource::SourceKind::window) std::cout << " (" << source.appName << ")";
        std::cout << "  " << region << "\n";
    }
    for (const CameraDevice& camera : cameras) {
        std::cout << camera.id << "  " << camera.title;
        for (std::size_t index = 0; index < camera.sizes.size(); ++index)
            std::cout << (index == 0 ? "  " : ", ") << camera.sizes[index].width << "x" << camera.sizes[index].height;
        std::cout << "\n";
    }
    return 0;
}

}  // namespace vantile::cli
