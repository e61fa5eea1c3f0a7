#pragma once

#include <string>

namespace vantile::cli {

// The full help of one command: what it does, each option and the values it accepts.
// Empty for an unknown command.
std::string commandHelp(const std::string& command);

}  // namespace vantile::cli
