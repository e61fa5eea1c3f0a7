#include "CommandLine.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace vantile::cli {

Arguments::Arguments(const std::vector<std::string>& arguments, const std::set<std::string>& valueOptions,
                     const std::set<std::string>& flagOptions)
{
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        std::string argument = arguments[index];
        if (argument.rfind("--", 0) != 0 && !(argument.size() == 2 && argument[0] == '-' && argument[1] != '-')) {
            positional_.push_back(argument);
            continue;
        }
        std::optional<std::string> inlineValue;
        if (const auto equals = argument.find('='); equals != std::string::npos) {
            inlineValue = argument.substr(equals + 1);
            argument = argument.substr(0, equals);
        }
        if (flagOptions.count(argument)) {
            if (inlineValue) throw UsageError("option " + argument + " takes no value");
            flags_.insert(argument);
        } else if (valueOptions.count(argument)) {
            if (inlineValue) {
                values_[argument] = *inlineValue;
            } else if (index + 1 < arguments.size()) {
                values_[argument] = arguments[++index];
            } else {
                throw UsageError("option " + argument + " needs a value");
            }
        } else {
            throw UsageError("unknown option " + argument);
        }
    }
}

std::string Arguments::requirePositional(std::size_t index, const std::string& what) const
{
    if (index >= positional_.size()) throw UsageError("missing " + what);
    // An empty path would reach the file system library, whose message names no argument.
    if (positional_[index].empty()) throw UsageError("the " + what + " is empty");
    return positional_[index];
}

void Arguments::expectPositionalCount(std::size_t maximum) const
{
    if (positional_.size() > maximum) throw UsageError("unexpected argument " + positional_[maximum]);
}

std::optional<std::string> Arguments::value(const std::string& name) const
{
    const auto found = values_.find(name);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

std::string Arguments::requireValue(const std::string& name) const
{
    auto found = value(name);
    if (!found) throw UsageError("missing option " + name);
    return *found;
}

std::optional<double> Arguments::number(const std::string& name) const
{
    const auto text = value(name);
    if (!text) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text->c_str(), &end);
    if (text->empty() || *end != '\0' || errno == ERANGE || !std::isfinite(parsed)) {
        throw UsageError(name + ": expected a number, got \"" + *text + "\"");
    }
    return parsed;
}

std::optional<std::int64_t> Arguments::integer(const std::string& name) const
{
    const auto text = value(name);
    if (!text) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(text->c_str(), &end, 10);
    if (text->empty() || *end != '\0' || errno == ERANGE) {
        throw UsageError(name + ": expected a whole number, got \"" + *text + "\"");
    }
    return parsed;
}

std::optional<std::int64_t> Arguments::positiveInteger(const std::string& name) const
{
    const auto parsed = integer(name);
    if (parsed && *parsed <= 0) throw UsageError(name + ": must be greater than zero");
    return parsed;
}

std::optional<std::int64_t> Arguments::integerBetween(const std::string& name, std::int64_t minimum,
                                                     std::int64_t maximum) const
{
    const auto parsed = integer(name);
    if (parsed && (*parsed < minimum || *parsed > maximum)) {
        throw UsageError(name + " must be between " + std::to_string(minimum) + " and " + std::to_string(maximum));
    }
    return parsed;
}

}  // namespace vantile::cli
