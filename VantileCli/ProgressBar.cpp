#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace vantile::cli {

namespace {

std::string clock(double seconds)
{
    const auto whole = static_cast<long>(std::lround(std::max(seconds, 0.0)));
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace

ProgressBar::ProgressBar(std::string label, std::FILE* stream)
    : label_(std::move(label)),
      stream_(stream),
      terminal_(isatty(fileno(stream)) == 1),
      start_(std::chrono::steady_clock::now()),
      lastDraw_(start_)
{
}

void ProgressBar::update(double fraction)
{
    fraction = std::clamp(fraction, 0.0, 1.0);
    const auto now = std::chrono::steady_clock::now();
    if (!terminal_) {
        const int step = static_cast<int>(fraction * 10);
        if (step == lastPlainStep_) return;
        lastPlainStep_ = step;
        std::fprintf(stream_, "%s: %d%%\n", label_.c_str(), step * 10);
        std::fflush(stream_);
        return;
    }
    if (drewBar_ && fraction < 1 && now - lastDraw_ < std::chrono::milliseconds(100)) return;
    lastDraw_ = now;
    drewBar_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    const std::string eta = fraction > 0.01 ? clock(elapsed / fraction - elapsed) : "--:--";
    constexpr int width = 30;
    const int filled = static_cast<int>(fraction * width);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.append(static_cast<std::size_t>(width - filled), '.');
    std::fprintf(stream_, "\r%s [%s] %3d%%  elapsed %s  ETA %s ", label_.c_str(), bar.c_str(),
                 static_cast<int>(fraction * 100), clock(elapsed).c_str(), eta.c_str());
    std::fflush(stream_);
}

void ProgressBar::finish()
{
    if (terminal_ && drewBar_) std::fprintf(stream_, "\n");
    drewBar_ = false;
}

}  // namespace vantile::cli
