#pragma once

#include "capture/SourceLister.h"
#include "model/CaptureSource.h"

#include <optional>
#include <string>
#include <vector>

namespace vantile {

// Lists the displays and ordinary application windows a user can record.
// The source that records one listed display.
CaptureSource displaySource(const ListedDisplay& display);

class CaptureSourceProvider {
public:
    explicit CaptureSourceProvider(SourceLister& lister) : lister_(lister) {}

    // Displays first, then the windows the filter keeps, in the platform's order. When the
    // platform cannot be asked, the screens known otherwise (which cannot be recorded).
    std::vector<CaptureSource> loadSources();
    // Why the last loadSources fell back, if it did.
    const std::optional<std::string>& fallbackReason() const { return fallbackReason_; }

    std::vector<CaptureSource> fallbackDisplaySources();

    // The scale of the screen that overlaps rect the most (the earlier screen on a tie).
    static double scaleFactor(const CGRectCodable& rect, const std::vector<ListedDisplay>& screens);

private:
    SourceLister& lister_;
    std::optional<std::string> fallbackReason_;
};

}  // namespace vantile
