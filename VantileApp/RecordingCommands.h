#pragma once

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>
#include <string>

namespace vantile {

class AppState;

// Start, stop and toggle a recording from outside the window (the command line of a second
// `vantile`, a desktop keybinding, the global shortcut). Each answers once, when the flow it set
// off is over: with the project directory, or with the user's sentence when it failed.
class RecordingCommands : public QObject {
    Q_OBJECT

public:
    struct Answer {
        std::optional<std::string> failure;
        std::string projectDirectory;  // of a started or stopped recording
    };
    using Reply = std::function<void(const Answer&)>;

    explicit RecordingCommands(AppState& state);

    // Records `sourceId`, else the selected source, else the first display. Answers once the
    // recording runs; a recording that already runs is answered at once.
    void start(const std::optional<std::string>& sourceId, Reply reply);
    // The same once the flow that runs now (the first listing at launch) is over, rather than refusing.
    void startWhenIdle(const std::optional<std::string>& sourceId, Reply reply);
    // Answers once the project is saved; during the countdown, at once, having cancelled it.
    void stop(Reply reply);
    void toggle(Reply reply);

    static constexpr const char* notRecording = "Vantile is not recording.";
    static constexpr const char* busy = "Vantile is busy; try again when it is done.";
    static constexpr const char* cancelledBeforeStart = "The recording was cancelled before it started.";

private:
    void startWithSources(const std::optional<std::string>& sourceId, bool chosen, const Reply& reply);
    // Runs `then` now when no flow runs, else once the running one is over.
    void whenIdle(std::function<void()> then);
    Answer outcome(bool succeeded) const;

    AppState& state_;
};

}  // namespace vantile
