#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantile::cli {

// A usage mistake on the command line; printed as one line, exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Parses "--name value", "--flag" and positional arguments against the options a command knows.
class Arguments {
public:
    Arguments(const std::vector<std::string>& arguments, const std::set<std::string>& valueOptions,
              const std::set<std::string>& flagOptions);

    const std::vector<std::string>& positional() const { return positional_; }
    std::string requirePositional(std::size_t index, const std::string& what) const;
    void expectPositionalCount(std::size_t maximum) const;

    bool flag(const std::string& name) const { return flags_.count(name) > 0; }
    std::optional<std::string> value(const std::string& name) const;
    std::string requireValue(const std::string& name) const;

    // Numeric options: a malformed or out-of-range value is a UsageError naming the option.
    std::optional<double> number(const std::string& name) const;
    std::optional<std::int64_t> integer(const std::string& name) const;
    std::optional<std::int64_t> positiveInteger(const std::string& name) const;
    std::optional<std::int64_t> integerBetween(const std::string& name, std::int64_t minimum, std::int64_t maximum) const;

private:
    std::vector<std::string> positional_;
    std::map<std::string, std::string> values_;
    std::set<std::string> flags_;
};

}  // namespace vantile::cli
