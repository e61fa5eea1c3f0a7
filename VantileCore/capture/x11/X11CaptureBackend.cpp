#include "capture/x11/X11CaptureBackend.h"

#include "capture/CaptureSourceProvider.h"
#include "capture/PermissionManager.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11InputSource.h"
#include "capture/x11/X11SourceLister.h"

namespace vantile {

X11CaptureBackend::X11CaptureBackend(std::optional<std::string> displayName)
    : displayName_(std::move(displayName)), platform_(displayName_)
{
}

void X11CaptureBackend::requireDisplayServer() { const X11Connection probe(displayName_); }

std::vector<CaptureSource> X11CaptureBackend::loadSources()
{
    X11SourceLister lister(displayName_);
    CaptureSourceProvider provider(lister);
    std::vector<CaptureSource> sources = provider.loadSources();
    fallbackReason_ = provider.fallbackReason();
    return sources;
}

PermissionStatus X11CaptureBackend::permissions() { return PermissionManager(displayName_).currentStatus(); }

std::unique_ptr<InputSource> X11CaptureBackend::makeInputSource()
{
    return std::make_unique<X11InputSource>(displayName_);
}

}  // namespace vantile
