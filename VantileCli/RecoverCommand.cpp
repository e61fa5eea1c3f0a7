#include "CommandLine.h"
#include "Commands.h"

#include "capture/RecordingRecovery.h"

#include <iostream>

namespace vantile::cli {

int runRecover(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {}, {});
    parsed.expectPositionalCount(1);
    std::filesystem::path directory =
        std::filesystem::absolute(parsed.requirePositional(0, "project directory DIR")).lexically_normal();
    if (!directory.has_filename()) directory = directory.parent_path();
    recoverRecording(directory, ProjectFileManager(directory.parent_path()));
    std::cout << directory.string() << "\n";
    return 0;
}

}  // namespace vantile::cli
