#pragma once

#include "capture/SourceLister.h"

#include <optional>
#include <string>

namespace vantile {

// Displays from RandR monitors (numbered by their first output's XID) and windows from the
// window manager's client list, or the mapped top-level windows when no manager runs.
class X11SourceLister : public SourceLister {
public:
    explicit X11SourceLister(std::optional<std::string> displayName = std::nullopt)
        : displayName_(std::move(displayName))
    {
    }

    ShareableContent shareableContent() override;
    std::vector<ListedDisplay> screens() override;

private:
    std::optional<std::string> displayName_;
};

}  // namespace vantile
