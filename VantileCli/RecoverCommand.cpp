#include "CommandLine.h"
#include "Commands.h"

#include "capture/RecordingRecovery.h"

#include <iostream>

namespace vantile::cli {

int runRecover(const std::vector<std::string>& arguments)
{
    const Arguments parsed(arguments, {}, {});
    parsed.expectPositionalCount(1);
    const std::string given = parsed.requirePositional(0, "project directory");
    std::filesystem::path directory = std::filesystem::absolute(given).lexically_normal();
    if (!directory.has_filename()) directory = directory.parent_path();
    const RecoveredRecording recovered = recoverRecording(directory, ProjectFileManager(directory.parent_path()));
    if (const std::size_t skipped = recovered.skippedJournalLines) {
        std::cerr << "Skipped " << skipped << (skipped == 1 ? " damaged line" : " damaged lines")
                  << " of the input journal and kept it as " << (directory / damagedJournalFileName).string() << ".\n";
    }
    std::cout << directory.string() << "\n";
    return 0;
}

}  // namespace vantile::cli
