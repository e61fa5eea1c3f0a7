#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// The store's failures, each carrying the sentence a user reads.
class ProjectFileError : public std::runtime_error {
public:
    enum class Kind {
        fileSystem,           // creating, reading, writing or removing failed
        decoding,             // a file's JSON is malformed or does not fit the record
        unfinishedRecording,  // a recording's movie and journal without a saved project
        busy,                 // another program kept the project's lock too long
    };

    ProjectFileError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

}  // namespace vantile
