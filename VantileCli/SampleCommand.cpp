#include "CommandLine.h"
#include "Commands.h"
#include "HeadlessQt.h"

#include "store/AtomicFile.h"
#include "sample/SampleProjectWriter.h"

#include <filesystem>
#include <iostream>

namespace vantile::cli {

namespace {

AudioCaptureMode parseAudioMode(const std::string& text)
{
    try {
        return audioCaptureModeTexts.parse(text);
    } catch (const std::exception&) {
        throw UsageError("unknown --audio value \"" + text + "\" (none, system, microphone, systemAndMicrophone)");
    }
}

}  // namespace

int runSample(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {"--duration", "--width", "--height", "--audio"}, {});
    parsed.expectPositionalCount(1);
    const std::filesystem::path directory = parsed.requirePositional(0, "project directory");
    // A sample never replaces anything: an existing project there would be lost.
    std::error_code error;
    if (entryExists(directory) && !(std::filesystem::is_directory(directory, error) &&
                                    std::filesystem::is_empty(directory, error) && !error)) {
        throw UsageError(directory.string() + " already exists and is not an empty directory");
    }
    SampleProjectOptions options;
    if (const auto duration = parsed.number("--duration")) {
        if (!(*duration > 0) || *duration > 3600) throw UsageError("--duration must be between 0 and 3600 seconds");
        options.duration = *duration;
    }
    if (const auto width = parsed.positiveInteger("--width")) {
        if (*width < 16 || *width > 7680) throw UsageError("--width must be between 16 and 7680");
        options.width = static_cast<int>(*width);
    }
    if (const auto height = parsed.positiveInteger("--height")) {
        if (*height < 16 || *height > 4320) throw UsageError("--height must be between 16 and 4320");
        options.height = static_cast<int>(*height);
    }
    if (const auto audio = parsed.value("--audio")) options.audio = parseAudioMode(*audio);

    // Text in the synthetic screen needs Qt's font system; no display is involved.
    const HeadlessQt fonts;

    SampleProjectWriter::write(directory, options);
    std::cout << std::filesystem::absolute(directory).lexically_normal().string() << "\n";
    return 0;
}

}  // namespace vantile::cli
