#include "CommandLine.h"
#include "Commands.h"
#include "TimelineSummary.h"

#include "engine/IdleFinder.h"
#include "engine/SpeedRegionEdits.h"
#include "engine/TextCalloutEdits.h"
#include "engine/BlurRegionEdits.h"
#include "engine/CropEdits.h"
#include "engine/ShortcutBadgeEdits.h"
#include "engine/TimelineEdits.h"
#include "render/ScreenChangeScanner.h"
#include "store/ProjectFileManager.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <memory>

namespace vantile::cli {

namespace {

double parseNumber(const std::string& option, const std::string& text)
{
    char* end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(parsed)) {
        throw UsageError(option + ": expected a number, got \"" + text + "\"");
    }
    return parsed;
}

// Digits only: "1e300" or a number past the largest index must not wrap to some other segment.
std::size_t parseIndex(const std::string& option, const std::string& text, const std::string& what = "a segment index")
{
    std::size_t parsed = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, parsed);
    if (text.empty() || error != std::errc() || stop != end) {
        throw UsageError(option + ": expected " + what + " (0, 1, ...), got \"" + text + "\"");
    }
    return parsed;
}

using Edit = std::function<RecordingProject(const RecordingProject&)>;

// The idle finder's proposals for a project, all taken: the screen is scanned before the
// project is locked, since reading a long take takes a while.
struct IdleSkipping {
    double minimumSeconds = defaultIdleSeconds;
    IdleRemoval removal = IdleRemoval::speed;
};

std::filesystem::path rawMovieOf(const std::filesystem::path& directory, const RecordingProject& project)
{
    const std::filesystem::path raw = project.rawVideoPath;
    return raw.is_absolute() ? raw : directory / raw;
}

}  // namespace

int runEdit(const std::vector<std::string>& arguments)
{
    // Options repeat and apply in order, so they are parsed here rather than into a map.
    std::vector<std::string> positional;
    std::vector<Edit> edits;
    std::optional<IdleSkipping> idleSkipping;
    bool json = false;
    // --text-style and --text-position change the --text before them, which is applied later.
    std::shared_ptr<TextCallout> lastText;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& option = arguments[index];
        const auto values = [&](std::size_t count) {
            if (index + count >= arguments.size()) {
                throw UsageError("option " + option + " needs " + std::to_string(count) + " values");
            }
            std::vector<double> numbers;
            for (std::size_t offset = 1; offset <= count; ++offset) {
                numbers.push_back(parseNumber(option, arguments[index + offset]));
            }
            index += count;
            return numbers;
        };
        if (option == "--trim") {
            const auto v = values(2);
            edits.push_back([range = TimeRange{v[0], v[1]}](const RecordingProject& p) {
                return TimelineEdits::withTrim(p, range);
            });
        } else if (option == "--cut") {
            const auto v = values(2);
            edits.push_back([range = TimeRange{v[0], v[1]}](const RecordingProject& p) {
                return TimelineEdits::withCut(p, range);
            });
        } else if (option == "--zoom") {
            const auto v = values(5);
            const FocusSegment zoom{v[0], v[1], FocusSegment::SegmentType::clickFocus, v[2], v[3], v[4], true};
            edits.push_back([zoom](const RecordingProject& p) { return TimelineEdits::withZoom(p, zoom); });
        } else if (option == "--remove-zoom") {
            if (index + 1 >= arguments.size()) throw UsageError("option --remove-zoom needs a value");
            const std::size_t segment = parseIndex(option, arguments[++index]);
            edits.push_back([segment](const RecordingProject& p) { return TimelineEdits::withoutSegment(p, segment); });
        } else if (option == "--clear-edits") {
            edits.push_back([](const RecordingProject& p) { return TimelineEdits::withoutEdits(p); });
        } else if (option == "--speed") {
            const auto v = values(3);
            const SpeedRegion region{v[0], v[1], v[2]};
            edits.push_back([region](const RecordingProject& p) { return SpeedRegionEdits::withRegion(p, region); });
        } else if (option == "--remove-speed") {
            if (index + 1 >= arguments.size()) throw UsageError("option --remove-speed needs a value");
            const std::size_t region = parseIndex(option, arguments[++index], "a speed region index");
            edits.push_back([region](const RecordingProject& p) { return SpeedRegionEdits::withoutRegion(p, region); });
        } else if (option == "--skip-idle") {
            IdleSkipping skipping;
            if (index + 1 < arguments.size() && arguments[index + 1].rfind("--", 0) != 0) {
                skipping.minimumSeconds = parseNumber(option, arguments[++index]);
                if (!(skipping.minimumSeconds >= 0.5 && skipping.minimumSeconds <= 3600)) {
                    throw UsageError("--skip-idle: SECONDS must be between 0.5 and 3600");
                }
            }
            if (index + 1 < arguments.size() && arguments[index + 1] == "--as") {
                if (index + 2 >= arguments.size()) throw UsageError("option --as needs cut or speed");
                const std::string& removal = arguments[index + 2];
                if (removal != "cut" && removal != "speed") {
                    throw UsageError("--as: expected cut or speed, got \"" + removal + "\"");
                }
                skipping.removal = removal == "cut" ? IdleRemoval::cut : IdleRemoval::speed;
                index += 2;
            }
            idleSkipping = skipping;
        } else if (option == "--text") {
            if (index + 3 >= arguments.size()) throw UsageError("option --text needs START END TEXT");
            lastText = std::make_shared<TextCallout>();
            lastText->start = parseNumber(option, arguments[index + 1]);
            lastText->end = parseNumber(option, arguments[index + 2]);
            lastText->text = arguments[index + 3];
            index += 3;
            edits.push_back([callout = lastText](const RecordingProject& p) {
                return TextCalloutEdits::withTextCallout(p, *callout);
            });
        } else if (option == "--text-style" || option == "--text-position") {
            if (!lastText) throw UsageError(option + " must follow the --text it changes");
            if (option == "--text-position") {
                const auto v = values(2);
                lastText->position = CodablePoint{v[0], v[1]};
            } else {
                if (index + 1 >= arguments.size()) throw UsageError("option --text-style needs a value");
                try {
                    lastText->style = textCalloutStyleTexts.parse(arguments[++index]);
                } catch (const DecodingError&) {
                    throw UsageError("--text-style: expected title, lowerThird or label, got \"" + arguments[index] +
                                     "\"");
                }
            }
        } else if (option == "--remove-text") {
            if (index + 1 >= arguments.size()) throw UsageError("option --remove-text needs a value");
            const std::size_t callout = parseIndex(option, arguments[++index], "a text callout index");
            edits.push_back([callout](const RecordingProject& p) { return TextCalloutEdits::withoutTextCallout(p, callout); });
        } else if (option == "--blur") {
            const auto v = values(6);
            BlurRegion region{v[0], v[1], v[2], v[3], v[4], v[5]};
            if (index + 1 < arguments.size() && arguments[index + 1] == "--blur-style") {
                if (index + 2 >= arguments.size()) throw UsageError("option --blur-style needs a value");
                const std::string& style = arguments[index + 2];
                try {
                    region.style = blurStyleTexts.parse(style);
                } catch (const DecodingError&) {
                    throw UsageError("--blur-style: expected pixelate or blur, got \"" + style + "\"");
                }
                index += 2;
            }
            edits.push_back([region](const RecordingProject& p) { return BlurRegionEdits::withBlurRegion(p, region); });
        } else if (option == "--blur-style") {
            throw UsageError("option --blur-style must follow --blur START END X Y W H");
        } else if (option == "--remove-blur") {
            if (index + 1 >= arguments.size()) throw UsageError("option --remove-blur needs a value");
            const std::size_t region = parseIndex(option, arguments[++index], "a blur region index");
            edits.push_back(
                [region](const RecordingProject& p) { return BlurRegionEdits::withoutBlurRegion(p, region); });
        } else if (option == "--crop") {
            const auto v = values(4);
            edits.push_back([v](const RecordingProject& p) {
                return CropEdits::withCrop(p, CropEdits::fitted(p, v[0], v[1], v[2], v[3]));
            });
        } else if (option == "--clear-crop") {
            edits.push_back([](const RecordingProject& p) { return CropEdits::withCrop(p, std::nullopt); });
        } else if (option == "--hide-shortcut" || option == "--show-shortcut") {
            if (index + 1 >= arguments.size()) throw UsageError("option " + option + " needs a value");
            const std::size_t shortcut = parseIndex(option, arguments[++index], "a shortcut number");
            edits.push_back([shortcut, hidden = option == "--hide-shortcut"](const RecordingProject& p) {
                return ShortcutBadgeEdits::withShortcutHidden(p, shortcut, hidden);
            });
        } else if (option == "--json") {
            json = true;
        } else if (option.rfind("-", 0) == 0 && option.size() > 1) {
            throw UsageError("unknown option " + option);
        } else {
            positional.push_back(option);
        }
    }
    if (positional.empty()) throw UsageError("missing project directory DIR");
    if (positional.front().empty()) throw UsageError("the project directory DIR is empty");
    if (positional.size() > 1) throw UsageError("unexpected argument " + positional[1]);
    const std::filesystem::path directory = positional.front();

    const ProjectFileManager store(directory.parent_path());
    if (idleSkipping) {
        const RecordingProject before = store.loadProject(directory);
        const std::vector<double> changes = ScreenChangeScanner::changeTimes(rawMovieOf(directory, before), before.crop);
        edits.push_back([skipping = *idleSkipping, changes](const RecordingProject& p) {
            const auto stretches = IdleFinder::idleStretches(p.events, changes, p.duration, skipping.minimumSeconds);
            return IdleFinder::withIdleRemoved(p, stretches, skipping.removal);
        });
    }
    // Read, edited and written under the project's lock, so a concurrent edit or export is
    // neither overwritten nor lost.
    const RecordingProject project = edits.empty() ? store.loadProject(directory)
                                                   : store.updateProject(directory, [&](RecordingProject edited) {
                                                         for (const Edit& edit : edits) edited = edit(edited);
                                                         return edited;
                                                     });
    if (json) {
        std::cout << ProjectFileManager::encodeDocument(timelineJson(project)) << "\n";
    } else {
        std::cout << describeTimelineEdit(project) << describeSegments(project) << describeBlurRegions(project);
    }
    return 0;
}

}  // namespace vantile::cli
