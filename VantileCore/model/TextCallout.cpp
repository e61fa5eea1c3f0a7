#include "model/TextCallout.h"

#include <cmath>

namespace vantile {

void to_json(Json& json, const TextCallout& callout)
{
    json = Json{
        {"start", callout.start},
        {"end", callout.end},
        {"text", callout.text},
        {"style", rawValue(callout.style)},
    };
    encodeOptionalKey(json, "position", callout.position);
    encodeUnknownKeys(json, callout.unknownKeys);
}

std::optional<TextCalloutProblem> textCalloutProblem(const TextCallout& callout)
{
    if (!std::isfinite(callout.start) || !std::isfinite(callout.end)) {
        return TextCalloutProblem{"start", "needs finite start and end times"};
    }
    if (callout.start < 0) return TextCalloutProblem{"start", "must be 0 or more"};
    if (!(callout.end > callout.start)) return TextCalloutProblem{"end", "must be after start"};
    if (callout.text.find_first_not_of(" \t\r\n") == std::string::npos) {
        return TextCalloutProblem{"text", "must not be empty"};
    }
    if (!isValidUtf8(callout.text)) return TextCalloutProblem{"text", "must be valid UTF-8"};
    if (callout.position) {
        const auto inside = [](double fraction) { return std::isfinite(fraction) && fraction >= 0 && fraction <= 1; };
        if (!inside(callout.position->x) || !inside(callout.position->y)) {
            return TextCalloutProblem{"position", "x and y must be fractions of the frame between 0 and 1"};
        }
    }
    return std::nullopt;
}

void decodeValue(const Json& json, TextCallout& callout)
{
    requireObject(json);
    callout = TextCallout{};
    decodeKey(json, "start", callout.start);
    decodeKey(json, "end", callout.end);
    decodeKey(json, "text", callout.text);
    decodeKeyOrKeep(json, "style", callout.style);
    decodeOptionalKey(json, "position", callout.position);
    callout.unknownKeys = unknownKeysOf(json, {"start", "end", "text", "style", "position"});
    if (const auto problem = textCalloutProblem(callout)) throw DecodingError(problem->key, problem->problem);
}

}  // namespace vantile
