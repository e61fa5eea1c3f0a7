#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// The screen recorder's failures, each carrying the sentence a user reads.
class RecordingError : public std::runtime_error {
public:
    enum class Kind {
        captureStartFailed,
        captureStopFailed,
        notRecording,
        unsupportedSystem,
        sourceUnavailable,
        writerSetupFailed,
        recoveryFailed,
        screenShareCancelled,
    };

    static RecordingError captureStartFailed(const std::string& message)
    {
        return {Kind::captureStartFailed, "Could not start capture: " + message};
    }
    static RecordingError captureStopFailed(const std::string& message)
    {
        return {Kind::captureStopFailed, "Could not stop capture: " + message};
    }
    static RecordingError notRecording() { return {Kind::notRecording, "Recording has not started."}; }
    static RecordingError unsupportedSystem()
    {
        return {Kind::unsupportedSystem, "Screen capture is not supported on this display server."};
    }
    // No display server is named to connect to: the environment variable `variable` is unset.
    static RecordingError displayNotSet(const std::string& variable)
    {
        return {Kind::unsupportedSystem, "No display is set: " + variable + " is unset or empty."};
    }
    static RecordingError sourceUnavailable()
    {
        return {Kind::sourceUnavailable, "The selected capture source is no longer available."};
    }
    static RecordingError recoveryFailed(const std::string& directory, const std::string& reason)
    {
        return {Kind::recoveryFailed, "Cannot recover " + directory + ": " + reason};
    }
    static RecordingError screenShareCancelled() { return {Kind::screenShareCancelled, "已取消屏幕共享。"}; }
    static RecordingError writerSetupFailed() { return {Kind::writerSetupFailed, "Could not set up video writer."}; }

    Kind kind() const { return kind_; }

private:
    RecordingError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    Kind kind_;
};

}  // namespace vantile
