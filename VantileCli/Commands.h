#pragma once

#include <string>
#include <vector>

namespace vantile::cli {

// Each command takes the arguments after its name and returns the process exit status.
// Failures are thrown; main prints them on one line.
int runInfo(const std::vector<std::string>& arguments);
int runSources(const std::vector<std::string>& arguments);
int runRecord(const std::vector<std::string>& arguments);
int runRecover(const std::vector<std::string>& arguments);
int runDemo(const std::vector<std::string>& arguments);
int runPlan(const std::vector<std::string>& arguments);
int runSample(const std::vector<std::string>& arguments);
int runExport(const std::vector<std::string>& arguments);
int runEdit(const std::vector<std::string>& arguments);

}  // namespace vantile::cli
