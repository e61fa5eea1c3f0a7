#include "engine/TimelineRuler.h"

#include <array>
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantile::TimelineRuler {

double tickStep(double pixelsPerSecond, double minimumSpacing)
{
    static constexpr std::array<double, 12> steps{0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800};
    if (!(pixelsPerSecond > 0)) return steps.back();
    for (const double step : steps) {
        if (step * pixelsPerSecond >= minimumSpacing) return step;
    }
    return steps.back();
}

std::string label(double outputTime, double step)
{
    const bool tenths = step < 1;
    // Rounded to what is shown, so 59.96 s reads 1:00 and not 0:60.
    const double shown = tenths ? std::round(std::max(outputTime, 0.0) * 10) / 10 : std::round(std::max(outputTime, 0.0));
    const auto minutes = static_cast<long>(shown / 60);
    const double seconds = shown - static_cast<double>(minutes) * 60;
    char text[32];
    if (tenths) std::snprintf(text, sizeof text, "%ld:%04.1f", minutes, seconds);
    else std::snprintf(text, sizeof text, "%ld:%02ld", minutes, static_cast<long>(std::lround(seconds)));
    return text;
}

std::vector<RulerTick> ticks(const OutputTimeline& timeline, double recordingDuration, double pixelWidth,
                             double minimumSpacing)
{
    std::vector<RulerTick> marks;
    if (!(recordingDuration > 0) || !(pixelWidth > 0)) return marks;
    // Kept stretches keep their width on the track, so a second of output at its own speed is as
    // wide as one of recording.
    const double step = tickStep(pixelWidth / recordingDuration, minimumSpacing);
    const double end = timeline.duration();
    const double pixelsPerSecond = pixelWidth / recordingDuration;
    for (long index = 0;; ++index) {
        const double time = static_cast<double>(index) * step;
        if (time > end + 1e-9) break;
        const double at = timeline.recordingTime(time);
        // A slowed stretch draws output seconds narrower; marks that would crowd are left out.
        if (!marks.empty() && (at - marks.back().recordingTime) * pixelsPerSecond < minimumSpacing) continue;
        marks.push_back({time, at, label(time, step)});
    }
    return marks;
}

}  // namespace vantile::TimelineRuler
