#include "CommandLine.h"
#include "Commands.h"

namespace vantile::cli {

int runDemo(const std::vector<std::string>&) { return 1; }

}  // namespace vantile::cli
