#pragma once

#include <stdexcept>

namespace vantile {

// The controller's own failures.
class AppFlowError : public std::runtime_error {
public:
    enum class Kind { missingProjectContext };

    static AppFlowError missingProjectContext() { return AppFlowError(Kind::missingProjectContext); }

    Kind kind() const { return kind_; }
    bool operator==(const AppFlowError& other) const { return kind_ == other.kind_; }

private:
    explicit AppFlowError(Kind kind) : std::runtime_error("Project context is missing."), kind_(kind) {}

    Kind kind_;
};

}  // namespace vantile
