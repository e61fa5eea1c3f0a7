#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// The failures of rendering and export, each carrying the sentence a user reads.
class RenderError : public std::runtime_error {
public:
    enum class Kind {
        cannotAddWriterInput,
        pixelBufferCreationFailed,
        writerFailed,
        cancelled,
        unreadableMovie,  // the raw movie exists but cannot be opened or decoded
        sizeMismatch,     // the raw movie's frames are not the size the project records
        media,            // an FFmpeg call failed; the message names the step and the reason
        fileSystem,
    };

    RenderError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    static RenderError cannotAddWriterInput() { return {Kind::cannotAddWriterInput, "Cannot add a track to the movie."}; }
    static RenderError pixelBufferCreationFailed()
    {
        return {Kind::pixelBufferCreationFailed, "Cannot create video pixel buffer."};
    }
    static RenderError writerFailed() { return {Kind::writerFailed, "Cannot write the movie."}; }
    static RenderError cancelled() { return {Kind::cancelled, "Export cancelled."}; }

    Kind kind() const { return kind_; }
    bool operator==(const RenderError& other) const { return kind_ == other.kind_; }

private:
    Kind kind_;
};

}  // namespace vantile
