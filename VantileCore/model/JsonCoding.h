#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vantile {

using Json = nlohmann::json;

// A decoding failure that knows where in the document it happened, so a user reads
// "[3].time: expected a number" instead of a library's internal message.
class DecodingError : public std::runtime_error {
public:
    DecodingError(std::string path, std::string problem);

    const std::string& path() const { return path_; }
    const std::string& problem() const { return problem_; }

    // The same error one level further out: key "time" turns "expected..." into "time: expected...".
    DecodingError insideKey(std::string_view key) const;
    DecodingError insideIndex(std::size_t index) const;

private:
    std::string path_;
    std::string problem_;
};

// Raw-text tables for enumerations: the case's index in the array is its value.
template <typename Enum, std::size_t Count>
struct EnumTexts {
    std::array<std::string_view, Count> texts;

    std::string_view text(Enum value) const { return texts.at(static_cast<std::size_t>(value)); }

    Enum parse(std::string_view text) const
    {
        for (std::size_t index = 0; index < Count; ++index) {
            if (texts[index] == text) return static_cast<Enum>(index);
        }
        throw DecodingError({}, "unknown value \"" + std::string(text) + "\"");
    }

    std::vector<Enum> allCases() const
    {
        std::vector<Enum> cases;
        for (std::size_t index = 0; index < Count; ++index) cases.push_back(static_cast<Enum>(index));
        return cases;
    }
};

// Primitive decoders; each throws DecodingError with an empty path on a type mismatch.
void decodeValue(const Json& json, double& value);
void decodeValue(const Json& json, std::int64_t& value);
void decodeValue(const Json& json, bool& value);
void decodeValue(const Json& json, std::string& value);

template <typename T>
void decodeValue(const Json& json, std::vector<T>& values)
{
    if (!json.is_array()) throw DecodingError({}, "expected an array");
    values.clear();
    values.reserve(json.size());
    for (std::size_t index = 0; index < json.size(); ++index) {
        T element{};
        try {
            decodeValue(json[index], element);
        } catch (const DecodingError& error) {
            throw error.insideIndex(index);
        }
        values.push_back(std::move(element));
    }
}

void requireObject(const Json& json);

// The members of an object this version does not know, kept as they were so that a file
// written by a newer version loses nothing when this one saves it. Null when there are none.
struct UnknownKeys {
    Json members;

    bool operator==(const UnknownKeys&) const = default;
};

// The members of `object` whose names are not in `known`.
UnknownKeys unknownKeysOf(const Json& object, std::initializer_list<std::string_view> known);
// Writes them back beside the known ones; a member the encoder wrote itself wins.
void encodeUnknownKeys(Json& object, const UnknownKeys& unknown);

// Whether `text` can be stored as a JSON string (valid UTF-8); file names on Linux need not be.
bool isValidUtf8(const std::string& text);
// `text` with every byte that is not valid UTF-8 replaced by U+FFFD, for names that are only shown.
std::string validUtf8(const std::string& text);

// A required key: missing or null fails.
template <typename T>
void decodeKey(const Json& object, std::string_view key, T& value)
{
    const auto found = object.find(key);
    if (found == object.end()) throw DecodingError(std::string(key), "missing required key");
    try {
        decodeValue(*found, value);
    } catch (const DecodingError& error) {
        throw error.insideKey(key);
    }
}

// An optional key: missing or null leaves the value absent.
template <typename T>
void decodeOptionalKey(const Json& object, std::string_view key, std::optional<T>& value)
{
    value.reset();
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) return;
    T decoded{};
    try {
        decodeValue(*found, decoded);
    } catch (const DecodingError& error) {
        throw error.insideKey(key);
    }
    value = std::move(decoded);
}

// A key with a default: missing or null keeps what `value` holds.
template <typename T>
void decodeKeyOrKeep(const Json& object, std::string_view key, T& value)
{
    std::optional<T> decoded;
    decodeOptionalKey(object, key, decoded);
    if (decoded) value = std::move(*decoded);
}

template <typename T>
void encodeOptionalKey(Json& object, std::string_view key, const std::optional<T>& value)
{
    if (value) object[std::string(key)] = *value;
}

// Enumerations declare `enumTexts(Enum)` returning their EnumTexts table; this decodes any of them.
template <typename Enum>
    requires requires(Enum value) { enumTexts(value); }
void decodeValue(const Json& json, Enum& value)
{
    std::string text;
    decodeValue(json, text);
    value = enumTexts(Enum{}).parse(text);
}

template <typename Enum>
    requires requires(Enum value) { enumTexts(value); }
std::string rawValue(Enum value)
{
    return std::string(enumTexts(value).text(value));
}

// Decode a whole document into T; used by the store and the command line.
template <typename T>
T decodeDocument(const Json& json)
{
    T value{};
    decodeValue(json, value);
    return value;
}

}  // namespace vantile
