#pragma once

#include "model/JsonCoding.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace vantile {

// One movie exported from a project, as the project remembers it.
struct ExportRecord {
    std::string path;    // by name inside the project directory, else absolute
    std::string format;  // the file's extension in lower case without its dot: "mp4", "webm", "gif"
    std::chrono::system_clock::time_point exportedAt;
    std::int64_t bytes = 0;

    UnknownKeys unknownKeys{};

    bool operator==(const ExportRecord&) const = default;
};

void to_json(Json& json, const ExportRecord& record);
void decodeValue(const Json& json, ExportRecord& record);

}  // namespace vantile
