#pragma once

#include "support/ChildProcess.h"

#include <memory>
#include <string>

namespace vantile {

// A private Xvfb server for machines without a display (the demo, tests).
class VirtualDisplay {
public:
    // Throws std::runtime_error when Xvfb cannot be started.
    VirtualDisplay(int width, int height);

    const std::string& name() const { return name_; }  // ":N"

private:
    std::unique_ptr<ChildProcess> server_;
    std::string name_;
};

}  // namespace vantile
