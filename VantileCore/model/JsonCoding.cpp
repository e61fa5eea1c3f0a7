#include "model/JsonCoding.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantile {

namespace {

std::string describe(const std::string& path, const std::string& problem)
{
    return path.empty() ? problem : path + ": " + problem;
}

// "time" after "[3]" reads "[3].time"; "[3]" after "events" reads "events[3]".
void appendPath(std::string& path, const std::string& inner)
{
    if (inner.empty()) return;
    if (inner.front() != '[') path.push_back('.');
    path.append(inner);
}

}  // namespace

DecodingError::DecodingError(std::string path, std::string problem)
    : std::runtime_error(describe(path, problem)), path_(std::move(path)), problem_(std::move(problem))
{
}

DecodingError DecodingError::insideKey(std::string_view key) const
{
    std::string path(key);
    appendPath(path, path_);
    return DecodingError(path, problem_);
}

DecodingError DecodingError::insideIndex(std::size_t index) const
{
    std::string path = "[";
    path.append(std::to_string(index)).append("]");
    appendPath(path, path_);
    return DecodingError(path, problem_);
}

void decodeValue(const Json& json, double& value)
{
    if (!json.is_number()) throw DecodingError({}, "expected a number");
    value = json.get<double>();
    if (!std::isfinite(value)) throw DecodingError({}, "expected a finite number");
}

void decodeValue(const Json& json, std::int64_t& value)
{
    if (json.is_number_integer()) {
        if (json.is_number_unsigned() && json.get<std::uint64_t>() > std::uint64_t(std::numeric_limits<std::int64_t>::max())) {
            throw DecodingError({}, "integer out of range");
        }
        value = json.get<std::int64_t>();
        return;
    }
    if (json.is_number_float()) {
        // 1920.0 is an integer written by a tool that only knows doubles; 1920.5 is not.
        const double number = json.get<double>();
        if (std::isfinite(number) && std::trunc(number) == number && std::fabs(number) < 9.0e18) {
            value = static_cast<std::int64_t>(number);
            return;
        }
    }
    throw DecodingError({}, "expected an integer");
}

void decodeValue(const Json& json, bool& value)
{
    if (!json.is_boolean()) throw DecodingError({}, "expected true or false");
    value = json.get<bool>();
}

void decodeValue(const Json& json, std::string& value)
{
    if (!json.is_string()) throw DecodingError({}, "expected a string");
    value = json.get<std::string>();
}

void requireObject(const Json& json)
{
    if (!json.is_object()) throw DecodingError({}, "expected an object");
}

UnknownKeys unknownKeysOf(const Json& object, std::initializer_list<std::string_view> known)
{
    UnknownKeys unknown;
    for (const auto& [key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) unknown.members[key] = value;
    }
    return unknown;
}

void encodeUnknownKeys(Json& object, const UnknownKeys& unknown)
{
    if (!unknown.members.is_object()) return;
    for (const auto& [key, value] : unknown.members.items()) {
        if (!object.contains(key)) object[key] = value;
    }
}

bool isValidUtf8(const std::string& text)
{
    try {
        (void)Json(text).dump();
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string validUtf8(const std::string& text)
{
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

}  // namespace vantile
