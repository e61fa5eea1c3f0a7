#pragma once

#include "capture/wayland/InputActivitySource.h"
#include "capture/wayland/InputHelperProtocol.h"

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace vantile {

// vantile-input-helper, started through pkexec so that the desktop asks the user for consent,
// read through a pipe: clicks, wheels and key activity for a user who may not read the input
// devices. The helper ends when the pipe closes.
class InputHelperProcess : public InputActivitySource {
public:
    // Where the package installs the helper; its polkit action names this same path.
    static constexpr const char* installedPath = VANTILE_INPUT_HELPER_PATH;
    static constexpr const char* pkexecPath = "/usr/bin/pkexec";

    // Whether the helper and pkexec are installed.
    static bool available();
    static std::vector<std::string> defaultCommand() { return {pkexecPath, installedPath}; }

    explicit InputHelperProcess(std::vector<std::string> command = defaultCommand());
    ~InputHelperProcess() override;
    InputHelperProcess(const InputHelperProcess&) = delete;
    InputHelperProcess& operator=(const InputHelperProcess&) = delete;

    // Starts the helper; the desktop may ask for a password meanwhile, and nothing arrives
    // until the user agrees.
    void open() override;
    void close() override;
    int fileDescriptor() const override { return pollFd_; }
    std::vector<RawInput> readPending() override;
    // Asks the helper for chords (its --shortcuts) at the next open(), and only then.
    void recordShortcuts(const std::optional<KeyboardLayout>& layout) override;

    // Since the last open: the helper said it runs, or it ended (refused, or the output broke).
    bool greeted() const { return reader_.greeted(); }
    bool ended() const { return output_ < 0 && child_ == 0; }

    // Runs the helper once, until it greets or ends or `patience` runs out, then closes it:
    // whether the user agreed. polkit keeps the consent for a few minutes, so a recording
    // started soon after asks no more.
    static bool authorize(const std::vector<std::string>& command, std::chrono::milliseconds patience);

private:
    void stopReading();
    void reap();

    std::vector<std::string> command_;
    std::optional<KeyboardLayout> shortcuts_;
    int pollFd_ = -1;
    int output_ = -1;  // the read end of the helper's standard output
    pid_t child_ = 0;
    InputHelperRecordReader reader_;
};

}  // namespace vantile
