#include "engine/ReferenceEngine.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

namespace vantile::reference {

namespace {

using Type = InputEvent::EventType;
using Kind = FocusSegment::SegmentType;

double clampValue(double value, double lower, double upper)
{
    return std::min(std::max(value, lower), upper);
}

std::vector<InputEvent> sortedByTime(std::vector<InputEvent> events)
{
    std::stable_sort(events.begin(), events.end(), [](const auto& a, const auto& b) { return a.time < b.time; });
    return events;
}

int interactionDensity(double t, const std::vector<InputEvent>& events)
{
    int count = 0;
    for (const InputEvent& e : events) {
        if (std::abs(e.time - t) <= 1.4 &&
            (e.type == Type::leftMouseDown || e.type == Type::scrollWheel || e.type == Type::typingActivityStart)) {
            ++count;
        }
    }
    return count;
}

int scrollDensity(double t, const std::vector<InputEvent>& events)
{
    int count = 0;
    for (const InputEvent& e : events) {
        if (e.type == Type::scrollWheel && std::abs(e.time - t) <= 0.8) ++count;
    }
    return count;
}

double base(ZoomIntensity intensity, double light, double standard, double strong)
{
    if (intensity == ZoomIntensity::light) return light;
    if (intensity == ZoomIntensity::strong) return strong;
    return standard;
}

std::vector<FocusSegment> buildCandidates(const std::vector<InputEvent>& events, const FocusPlannerInput& input)
{
    std::vector<FocusSegment> candidates;
    std::optional<InputEvent> lastClick;
    const double D = input.duration;
    for (const InputEvent& event : events) {
        const double t = event.time;
        if (event.type == Type::leftMouseDown) {
            lastClick = event;
            const double k = interactionDensity(t, events) - 2;
            const double lead = 0.5 - clampValue(0.04 * k, 0, 0.16);
            const double tail = 0.95 - clampValue(0.07 * k, 0, 0.28);
            const double scale = clampValue(base(input.zoomIntensity, 1.3, 1.52, 1.72) - clampValue(0.055 * k, 0, 0.22),
                                            1.0, 1.8);
            candidates.push_back({std::max(t - lead, 0.0), std::min(t + tail, D), Kind::clickFocus, event.x, event.y,
                                  scale});
        } else if (event.type == Type::scrollWheel) {
            const double k = scrollDensity(t, events) - 2;
            const double lead = 0.36 - clampValue(0.04 * k, 0, 0.1);
            const double tail = 0.65 - clampValue(0.07 * k, 0, 0.25);
            const double scale = clampValue(base(input.zoomIntensity, 1.12, 1.2, 1.3) - clampValue(0.055 * k, 0, 0.22),
                                            1.0, 1.8);
            candidates.push_back({std::max(t - lead, 0.0), std::min(t + tail, D), Kind::scrollFocus, event.x, event.y,
                                  scale});
        } else if (event.type == Type::typingActivityStart) {
            std::optional<double> typingEnd;
            for (const InputEvent& other : events) {
                if (other.type == Type::typingActivityEnd && other.time >= t) {
                    typingEnd = other.time;
                    break;
                }
            }
            const double te = typingEnd ? *typingEnd : std::min(t + 1.0, D);
            const InputEvent anchor = lastClick ? *lastClick : event;
            const double k = interactionDensity(t, events) - 2;
            const double lead = 0.55 - clampValue(0.04 * k, 0, 0.16);
            const double tail = 0.65 - clampValue(0.07 * k, 0, 0.22);
            const double scale = clampValue(base(input.zoomIntensity, 1.38, 1.62, 1.8) - clampValue(0.055 * k, 0, 0.22),
                                            1.0, 1.8);
            candidates.push_back({std::max(t - lead, 0.0), std::min(te + tail, D), Kind::typingFocus, anchor.x,
                                  anchor.y, scale});
        }
    }
    return candidates;
}

std::vector<FocusSegment> sortedByStart(std::vector<FocusSegment> segments)
{
    std::stable_sort(segments.begin(), segments.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
    return segments;
}

std::vector<FocusSegment> merge(const std::vector<FocusSegment>& input)
{
    const std::vector<FocusSegment> segments = sortedByStart(input);
    std::vector<FocusSegment> result;
    if (segments.empty()) return result;
    FocusSegment current = segments[0];
    for (std::size_t i = 1; i < segments.size(); ++i) {
        const FocusSegment& next = segments[i];
        const double gap = next.start - current.end;
        const bool bothScroll = current.type == Kind::scrollFocus && next.type == Kind::scrollFocus;
        const double dx = current.centerX - next.centerX;
        const double dy = current.centerY - next.centerY;
        const bool merges = gap < (bothScroll ? 1.1 : 0.7) && std::sqrt(dx * dx + dy * dy) < (bothScroll ? 420.0 : 220.0) &&
                            std::abs(current.scale - next.scale) < 0.35;
        if (!merges) {
            result.push_back(current);
            current = next;
            continue;
        }
        double w1 = current.end - current.start;
        double w2 = next.end - next.start;
        if (w1 < 0.001) w1 = 0.001;
        if (w2 < 0.001) w2 = 0.001;
        FocusSegment fused;
        fused.start = std::min(current.start, next.start);
        fused.end = std::max(current.end, next.end);
        fused.centerX = (current.centerX * w1 + next.centerX * w2) / (w1 + w2);
        fused.centerY = (current.centerY * w1 + next.centerY * w2) / (w1 + w2);
        fused.scale = std::max(current.scale, next.scale);
        fused.type = current.type == Kind::overview ? next.type : current.type;
        current = fused;
    }
    result.push_back(current);
    return result;
}

std::vector<FocusSegment> insertOverviews(const std::vector<FocusSegment>& segments, double D, double W, double H)
{
    if (segments.empty()) return {{0, D, Kind::overview, W * 0.5, H * 0.5, 1.0}};
    std::vector<FocusSegment> result;
    double lastEnd = 0;
    for (const FocusSegment& s : segments) {
        const double gap = s.start - lastEnd;
        if (gap > 1.35) {
            const double pad = gap > 2.4 ? 0.28 : 0.16;
            result.push_back({lastEnd + pad, std::max(s.start - pad, lastEnd + pad), Kind::overview, W * 0.5, H * 0.5, 1.0});
        }
        result.push_back(s);
        lastEnd = std::max(lastEnd, s.end);
    }
    if (D - lastEnd > 1.2) result.push_back({lastEnd + 0.2, D, Kind::overview, W * 0.5, H * 0.5, 1.0});
    return result;
}

void appendKeyframe(const CameraKeyframe& keyframe, std::vector<CameraKeyframe>& list)
{
    if (keyframe.time < 0) return;
    if (!list.empty() && std::abs(list.back().time - keyframe.time) < 0.0001) {
        list.back() = keyframe;
    } else if (!list.empty() && keyframe.time < list.back().time) {
        return;
    } else {
        list.push_back(keyframe);
    }
}

double transitionBase(Kind type)
{
    switch (type) {
    case Kind::overview: return 0.72;
    case Kind::clickFocus: return 0.42;
    case Kind::typingFocus: return 0.5;
    case Kind::scrollFocus: return 0.36;
    }
    return 0;
}

std::pair<double, double> interpolate(double t, const std::vector<InputEvent>& events)
{
    if (events.empty()) return {0, 0};
    if (t <= events.front().time) return {events.front().x, events.front().y};
    if (events.size() == 1 || t >= events.back().time) return {events.back().x, events.back().y};
    for (std::size_t i = 0; i + 1 < events.size(); ++i) {
        const InputEvent& a = events[i];
        const InputEvent& b = events[i + 1];
        if (a.time <= t && t <= b.time) {
            double span = b.time - a.time;
            if (span <= 0.001) span = 0.001;
            const double u = (t - a.time) / span;
            return {a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u};
        }
    }
    return {events.back().x, events.back().y};
}

}  // namespace

FocusPlannerOutput plan(const FocusPlannerInput& input)
{
    const std::vector<InputEvent> events = sortedByTime(input.events);
    std::vector<FocusSegment> segments =
        insertOverviews(merge(buildCandidates(events, input)), input.duration, input.videoWidth, input.videoHeight);
    const double W = input.videoWidth;
    const double H = input.videoHeight;
    for (FocusSegment& segment : segments) {
        const double hw = (W / std::max(segment.scale, 1.0)) * 0.5;
        const double hh = (H / std::max(segment.scale, 1.0)) * 0.5;
        segment.centerX = std::min(std::max(segment.centerX, hw), std::max(hw, W - hw));
        segment.centerY = std::min(std::max(segment.centerY, hh), std::max(hh, H - hh));
        segment.scale = std::min(std::max(segment.scale, 1.0), 1.8);
    }
    std::vector<FocusSegment> kept;
    for (const FocusSegment& segment : segments) {
        if (segment.start < segment.end) kept.push_back(segment);
    }
    kept = sortedByStart(kept);
    return {kept, buildKeyframes(kept, input.duration, W, H)};
}

std::vector<CameraKeyframe> buildKeyframes(const std::vector<FocusSegment>& segments, double D, double W, double H)
{
    if (segments.empty()) return {{0, W * 0.5, H * 0.5, 1.0}};
    std::vector<FocusSegment> kept;
    for (const FocusSegment& segment : segments) {
        if (segment.start < segment.end) kept.push_back(segment);
    }
    kept = sortedByStart(kept);
    std::vector<CameraKeyframe> list{{0, W * 0.5, H * 0.5, 1.0}};
    const double diag = std::max(std::hypot(W, H), 1.0);
    double px = W * 0.5, py = H * 0.5, ps = 1.0;
    double prevEnd = 0;
    for (const FocusSegment& segment : kept) {
        const double s = std::min(std::max(segment.start, 0.0), D);
        const double e = std::min(std::max(segment.end, s), D);
        if (!(s < e)) continue;
        const double lastTime = list.back().time;
        const double dn = std::sqrt((px - segment.centerX) * (px - segment.centerX) +
                                    (py - segment.centerY) * (py - segment.centerY)) /
                          diag;
        const double dterm = dn > 0 ? 0.42 * std::min(dn, 1.0) : 0;
        const double sn = std::abs(segment.scale - ps) / 0.8;
        const double sterm = sn > 0 ? 0.22 * std::min(sn, 1.0) : 0;
        const double raw = transitionBase(segment.type) + dterm + sterm;
        double T = std::min(std::max(raw, 0.28), 1.2);
        T = std::min(T, std::max(e - s, 0.16));
        const double k0 = std::max(std::max(s - T, prevEnd), lastTime);
        const double room = e - k0;
        const double T2 = room >= 0.16 ? std::min(room, T) : std::min(T, 0.16);
        const double arrival = k0 < s ? s : std::min(k0 + T2, e);
        appendKeyframe({k0, px, py, ps}, list);
        appendKeyframe({arrival, segment.centerX, segment.centerY, segment.scale}, list);
        px = segment.centerX;
        py = segment.centerY;
        ps = segment.scale;
        prevEnd = e;
    }
    if (list.back().time < D) appendKeyframe({D, px, py, ps}, list);
    return list;
}

CameraKeyframe cameraStateAt(double t, const std::vector<CameraKeyframe>& keyframes)
{
    if (keyframes.empty()) return {t, 0, 0, 1.0};
    if (t <= keyframes.front().time) return keyframes.front();
    if (keyframes.size() == 1 || keyframes.back().time <= t) return keyframes.back();
    for (std::size_t i = 0; i + 1 < keyframes.size(); ++i) {
        const CameraKeyframe& a = keyframes[i];
        const CameraKeyframe& b = keyframes[i + 1];
        if (a.time <= t && t <= b.time) {
            double u = (t - a.time) / std::max(b.time - a.time, 0.001);
            u = std::min(std::max(u, 0.0), 1.0);
            const double e = u * u * u * (u * (6 * u - 15) + 10);
            return {t, a.centerX + (b.centerX - a.centerX) * e, a.centerY + (b.centerY - a.centerY) * e,
                    a.scale + (b.scale - a.scale) * e};
        }
    }
    return keyframes.back();
}

std::vector<CursorFrame> smooth(const std::vector<InputEvent>& events, std::int64_t fps, double duration)
{
    std::vector<InputEvent> pointer;
    for (const InputEvent& e : events) {
        if (e.type != Type::typingActivityStart && e.type != Type::typingActivityEnd) pointer.push_back(e);
    }
    pointer = sortedByTime(pointer);
    if (pointer.empty() || fps < 1 || duration <= 0) return {};

    std::vector<InputEvent> kept{pointer[0]};
    for (std::size_t i = 1; i < pointer.size(); ++i) {
        const InputEvent& last = kept.back();
        const double d = std::sqrt((pointer[i].x - last.x) * (pointer[i].x - last.x) +
                                   (pointer[i].y - last.y) * (pointer[i].y - last.y));
        if (d >= 2.0 || pointer[i].type != Type::mouseMove) kept.push_back(pointer[i]);
    }
    std::vector<InputEvent> path{kept[0]};
    for (std::size_t i = 1; i < kept.size(); ++i) {
        const double sx = path.back().x;
        const double sy = path.back().y;
        const InputEvent& e = kept[i];
        const double d = std::sqrt((sx - e.x) * (sx - e.x) + (sy - e.y) * (sy - e.y));
        const double dt = e.time - kept[i - 1].time;
        const double a = (dt < 0.05 && d > 600.0) ? 0.08 : 0.25;
        InputEvent out = e;
        out.x = e.x * a + sx * (1 - a);
        out.y = e.y * a + sy * (1 - a);
        path.push_back(out);
    }

    const double rate = static_cast<double>(fps);
    std::set<double> pressFrames;
    for (const InputEvent& e : pointer) {
        if (e.type == Type::leftMouseDown || e.type == Type::rightMouseDown) {
            pressFrames.insert(static_cast<double>(static_cast<std::int64_t>(e.time * rate)) / rate);
        }
    }
    const auto n = static_cast<std::int64_t>(rate * duration);
    std::vector<CursorFrame> frames;
    for (std::int64_t i = 0; i <= n; ++i) {
        const double t = static_cast<double>(i) / rate;
        const auto [x, y] = interpolate(t, path);
        const double q = static_cast<double>(static_cast<std::int64_t>(t * rate)) / rate;
        bool clicking = pressFrames.count(q) > 0;
        if (!clicking) {
            for (const InputEvent& e : pointer) {
                if ((e.type == Type::leftMouseDown || e.type == Type::rightMouseDown) && std::abs(e.time - t) <= 0.12) {
                    clicking = true;
                    break;
                }
            }
        }
        frames.push_back({t, x, y, true, clicking});
    }
    return frames;
}

}  // namespace vantile::reference
