#include "CommandLine.h"
#include "Commands.h"
#include "TimelineSummary.h"

#include "engine/BlurRegionEdits.h"
#include "engine/TimelineEdits.h"
#include "store/ProjectFileManager.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <iostream>

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
std::size_t parseIndex(const std::string& option, const std::string& text)
{
    std::size_t parsed = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, parsed);
    if (text.empty() || error != std::errc() || stop != end) {
        throw UsageError(option + ": expected an index (0, 1, ...), got \"" + text + "\"");
    }
    return parsed;
}

using Edit = std::function<RecordingProject(const RecordingProject&)>;

}  // namespace

int runEdit(const std::vector<std::string>& arguments)
{
    // Options repeat and apply in order, so they are parsed here rather than into a map.
    std::vector<std::string> positional;
    std::vector<Edit> edits;
    bool json = false;
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
            const std::size_t region = parseIndex(option, arguments[++index]);
            edits.push_back(
                [region](const RecordingProject& p) { return BlurRegionEdits::withoutBlurRegion(p, region); });
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
