#include "model/RecordingProject.h"

#include <cstdio>

namespace vantile {

std::string formatISO8601(Timestamp instant)
{
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(instant);
    const auto days = floor<std::chrono::days>(seconds);
    const year_month_day date{days};
    const hh_mm_ss time{seconds - days};
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

Timestamp parseISO8601(const std::string& text)
{
    using namespace std::chrono;
    const DecodingError invalid({}, "expected an ISO 8601 date-time such as \"2026-11-15T17:57:21Z\"");
    int year = 0;
    unsigned month = 0, day = 0;
    int hour = 0, minute = 0, second = 0, consumed = 0;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d%n", &year, &month, &day, &hour, &minute, &second,
                    &consumed) != 6 ||
        consumed != 19) {
        throw invalid;
    }
    const year_month_day date{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
    if (!date.ok() || hour > 23 || minute > 59 || second > 60 || hour < 0 || minute < 0 || second < 0) throw invalid;

    std::size_t position = 19;
    nanoseconds fraction{0};
    if (position < text.size() && text[position] == '.') {
        ++position;
        long long scale = 100'000'000;
        const std::size_t digitsStart = position;
        while (position < text.size() && text[position] >= '0' && text[position] <= '9') {
            fraction += nanoseconds((text[position] - '0') * scale);
            scale /= 10;
            ++position;
        }
        if (position == digitsStart) throw invalid;
    }
    minutes offset{0};
    const std::string zone = text.substr(position);
    if (zone == "Z") {
    } else if (zone.size() == 6 && (zone[0] == '+' || zone[0] == '-') && zone[3] == ':') {
        int offsetHours = 0, offsetMinutes = 0;
        if (std::sscanf(zone.c_str() + 1, "%2d:%2d", &offsetHours, &offsetMinutes) != 2) throw invalid;
        offset = hours(offsetHours) + minutes(offsetMinutes);
        if (zone[0] == '-') offset = -offset;
    } else {
        throw invalid;
    }
    const auto local = sys_days{date} + hours(hour) + minutes(minute) + seconds(second) + fraction;
    return time_point_cast<system_clock::duration>(local - offset);
}

void to_json(Json& json, const RecordingProject& project)
{
    json = Json{
        {"id", project.id},
        {"createdAt", formatISO8601(project.createdAt)},
        {"duration", project.duration},
        {"capture", project.capture},
        {"video", project.video},
        {"events", project.events},
        {"focusSegments", project.focusSegments},
        {"cursorFrames", project.cursorFrames},
        {"renderSettings", project.renderSettings},
        {"audioSettings", project.audioSettings},
        {"rawVideoPath", project.rawVideoPath},
    };
    encodeOptionalKey(json, "previewVideoPath", project.previewVideoPath);
    encodeOptionalKey(json, "exportVideoPath", project.exportVideoPath);
    // Absent until the first recorded export, so older projects are written as they were.
    if (!project.exports.empty()) json["exports"] = project.exports;
    // Absent without edits, so an unedited project writes exactly what earlier versions wrote.
    encodeOptionalKey(json, "trim", project.trim);
    if (!project.cuts.empty()) json["cuts"] = project.cuts;
    if (!project.speedRegions.empty()) json["speedRegions"] = project.speedRegions;
    encodeOptionalKey(json, "camera", project.camera);
    if (!project.textCallouts.empty()) json["textCallouts"] = project.textCallouts;
    if (!project.blurRegions.empty()) json["blurRegions"] = project.blurRegions;
    encodeOptionalKey(json, "crop", project.crop);
    if (!project.hiddenShortcuts.empty()) json["hiddenShortcuts"] = project.hiddenShortcuts;
    encodeUnknownKeys(json, project.unknownKeys);
}

namespace {

// Values no recording can have; rendering with them would run for hours or divide by zero.
void requirePlausibleValues(const RecordingProject& project)
{
    if (!(project.duration > 0)) throw DecodingError("duration", "must be greater than 0");
    const auto requireFps = [](const char* key, std::int64_t fps) {
        if (fps < 1 || fps > 240) throw DecodingError(key, "must be between 1 and 240");
    };
    requireFps("video.fps", project.video.fps);
    requireFps("renderSettings.fps", project.renderSettings.fps);
    const auto requireSize = [](const char* key, std::int64_t length, std::int64_t maximum) {
        if (length <= 0 || length % 2 != 0 || length > maximum) {
            throw DecodingError(key, "must be an even number between 2 and " + std::to_string(maximum));
        }
    };
    requireSize("video.width", project.video.width, 7680);
    requireSize("video.height", project.video.height, 4320);
    requireSize("renderSettings.outputWidth", project.renderSettings.outputWidth, 7680);
    requireSize("renderSettings.outputHeight", project.renderSettings.outputHeight, 4320);
    if (!(project.capture.region.width > 0 && project.capture.region.height > 0)) {
        throw DecodingError("capture.region", "has no area");
    }
    if (project.crop && (project.crop->x + project.crop->width > project.video.width ||
                         project.crop->y + project.crop->height > project.video.height)) {
        throw DecodingError("crop", "reaches outside the " + std::to_string(project.video.width) + "x" +
                                        std::to_string(project.video.height) + " recording");
    }
    for (std::size_t index = 0; index < project.hiddenShortcuts.size(); ++index) {
        const std::int64_t number = project.hiddenShortcuts[index];
        if (number < 0 || (index > 0 && number <= project.hiddenShortcuts[index - 1])) {
            throw DecodingError("hiddenShortcuts[" + std::to_string(index) + "]",
                                "must be a shortcut number of 0 or more, in increasing order");
        }
    }
    for (std::size_t index = 0; index < project.blurRegions.size(); ++index) {
        const BlurRegion& region = project.blurRegions[index];
        const std::string key = "blurRegions[" + std::to_string(index) + "]";
        if (region.end > project.duration) throw DecodingError(key + ".end", "lies after the recording's end");
        if (region.x >= static_cast<double>(project.video.width) || region.y >= static_cast<double>(project.video.height) ||
            region.x + region.width <= 0 || region.y + region.height <= 0) {
            throw DecodingError(key, "lies outside the recording's picture");
        }
    }
}

}  // namespace

void decodeValue(const Json& json, RecordingProject& project)
{
    requireObject(json);
    project = RecordingProject{};
    decodeKey(json, "id", project.id);
    std::string createdAt;
    decodeKey(json, "createdAt", createdAt);
    try {
        project.createdAt = parseISO8601(createdAt);
    } catch (const DecodingError& error) {
        throw error.insideKey("createdAt");
    }
    decodeKey(json, "duration", project.duration);
    decodeKey(json, "capture", project.capture);
    decodeKey(json, "video", project.video);
    decodeKeyOrKeep(json, "events", project.events);
    decodeKeyOrKeep(json, "focusSegments", project.focusSegments);
    decodeKeyOrKeep(json, "cursorFrames", project.cursorFrames);
    decodeKeyOrKeep(json, "renderSettings", project.renderSettings);
    decodeKeyOrKeep(json, "audioSettings", project.audioSettings);
    decodeKeyOrKeep(json, "rawVideoPath", project.rawVideoPath);
    decodeOptionalKey(json, "previewVideoPath", project.previewVideoPath);
    decodeOptionalKey(json, "exportVideoPath", project.exportVideoPath);
    decodeKeyOrKeep(json, "exports", project.exports);
    decodeOptionalKey(json, "trim", project.trim);
    decodeKeyOrKeep(json, "cuts", project.cuts);
    decodeKeyOrKeep(json, "speedRegions", project.speedRegions);
    decodeOptionalKey(json, "camera", project.camera);
    decodeKeyOrKeep(json, "textCallouts", project.textCallouts);
    decodeKeyOrKeep(json, "blurRegions", project.blurRegions);
    decodeOptionalKey(json, "crop", project.crop);
    decodeKeyOrKeep(json, "hiddenShortcuts", project.hiddenShortcuts);
    project.unknownKeys = unknownKeysOf(json, {"id", "createdAt", "duration", "capture", "video", "events",
                                               "focusSegments", "cursorFrames", "renderSettings", "audioSettings",
                                               "rawVideoPath", "previewVideoPath", "exportVideoPath", "exports", "trim",
                                               "cuts", "camera", "speedRegions", "textCallouts", "blurRegions",
                                               "crop", "hiddenShortcuts"});
    requirePlausibleValues(project);
}

}  // namespace vantile
