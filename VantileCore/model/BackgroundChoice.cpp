#include "model/BackgroundChoice.h"

#include <charconv>

namespace vantile {

std::string describe(const BackgroundChoice& choice)
{
    switch (choice.kind) {
    case BackgroundChoice::Kind::templateColors: return "template";
    case BackgroundChoice::Kind::solid: return choice.color.hexText();
    case BackgroundChoice::Kind::image: return choice.imagePath;
    case BackgroundChoice::Kind::generated: return "generated-" + std::to_string(choice.generatedIndex);
    }
    return "template";
}

std::optional<int> generatedIndexOf(std::string_view text)
{
    constexpr std::string_view prefix = "generated-";
    if (!text.starts_with(prefix)) return std::nullopt;
    const std::string_view digits = text.substr(prefix.size());
    int index = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
    if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    if (index < 1 || index > BackgroundChoice::generatedCount) return std::nullopt;
    return index;
}

void encodeBackground(Json& settings, const BackgroundChoice& choice)
{
    switch (choice.kind) {
    case BackgroundChoice::Kind::templateColors: return;
    case BackgroundChoice::Kind::solid: settings["backgroundColor"] = choice.color.hexText(); return;
    case BackgroundChoice::Kind::image:
        settings["backgroundImage"] = choice.imagePath;
        if (choice.blur != 0) settings["backgroundBlur"] = choice.blur;
        return;
    case BackgroundChoice::Kind::generated: settings["backgroundGenerated"] = choice.generatedIndex; return;
    }
}

BackgroundChoice decodeBackground(const Json& settings)
{
    const int named = static_cast<int>(settings.contains("backgroundColor")) +
                      static_cast<int>(settings.contains("backgroundImage")) +
                      static_cast<int>(settings.contains("backgroundGenerated"));
    if (named > 1) throw DecodingError("backgroundColor", "only one of a colour, an image or a generated wallpaper");
    BackgroundChoice choice;
    if (settings.contains("backgroundColor")) {
        std::string text;
        decodeKey(settings, "backgroundColor", text);
        const auto color = RGBAColor::fromHexText(text);
        if (!color) throw DecodingError("backgroundColor", "must be a colour written #RRGGBB");
        choice = BackgroundChoice::solid(*color);
    } else if (settings.contains("backgroundImage")) {
        std::string path;
        decodeKey(settings, "backgroundImage", path);
        if (path.empty()) throw DecodingError("backgroundImage", "must name a file");
        double blur = 0;
        decodeKeyOrKeep(settings, "backgroundBlur", blur);
        if (!(blur >= 0 && blur <= BackgroundChoice::maximumBlur)) {
            throw DecodingError("backgroundBlur", "must be between 0 and 50");
        }
        choice = BackgroundChoice::image(std::move(path), blur);
    } else if (settings.contains("backgroundGenerated")) {
        std::int64_t index = 0;
        decodeKey(settings, "backgroundGenerated", index);
        if (index < 1 || index > BackgroundChoice::generatedCount) {
            throw DecodingError("backgroundGenerated", "must be between 1 and 8");
        }
        choice = BackgroundChoice::generated(static_cast<int>(index));
    }
    return choice;
}

}  // namespace vantile
