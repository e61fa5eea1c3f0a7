#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace vantile::cli {

// Export progress on stderr: a redrawn bar with percentage and ETA on a terminal, plain
// lines every 10% otherwise (logs, pipes).
class ProgressBar {
public:
    ProgressBar(std::string label, std::FILE* stream = stderr);

    void update(double fraction);
    // Ends the bar's line on a terminal.
    void finish();

private:
    std::string label_;
    std::FILE* stream_;
    bool terminal_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point lastDraw_;
    int lastPlainStep_ = -1;
    bool drewBar_ = false;
};

}  // namespace vantile::cli
