#include "model/ExportRecord.h"

#include "model/RecordingProject.h"

namespace vantile {

void to_json(Json& json, const ExportRecord& record)
{
    json = Json{{"path", record.path},
                {"format", record.format},
                {"exportedAt", formatISO8601(record.exportedAt)},
                {"bytes", record.bytes}};
    encodeUnknownKeys(json, record.unknownKeys);
}

void decodeValue(const Json& json, ExportRecord& record)
{
    requireObject(json);
    decodeKey(json, "path", record.path);
    decodeKey(json, "format", record.format);
    std::string exportedAt;
    decodeKey(json, "exportedAt", exportedAt);
    try {
        record.exportedAt = parseISO8601(exportedAt);
    } catch (const DecodingError& error) {
        throw error.insideKey("exportedAt");
    }
    decodeKey(json, "bytes", record.bytes);
    record.unknownKeys = unknownKeysOf(json, {"path", "format", "exportedAt", "bytes"});
}

}  // namespace vantile
