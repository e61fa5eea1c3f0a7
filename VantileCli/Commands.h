#pragma once

#include <string>
#include <vector>

namespace vantile::cli {

// Each command takes the arguments after its name and returns the process exit status.
// Failures are thrown; main prints them on one line.
int runInfo(const std::vector<std::string>& arguments);

}  // namespace vantile::cli
