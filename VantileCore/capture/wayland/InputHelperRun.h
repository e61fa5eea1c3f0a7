#pragma once

#include "capture/wayland/InputActivitySource.h"

#include <sys/types.h>

#include <chrono>

namespace vantile {

// When the helper stops on its own.
struct InputHelperWatch {
    // The process that started the helper; once the helper has another parent, it ends. 0 watches none.
    pid_t parent = 0;
    std::chrono::steady_clock::time_point deadline;
};

enum class InputHelperEnd { readerGone, parentGone, timeLimit };

// A recording lasts at most this long, so the helper never outlives one.
inline constexpr std::chrono::seconds inputHelperTimeLimit{600};

// Both false once nobody reads `output` any more. The greeting names the second version of the
// records only when the helper was asked for `shortcuts`.
bool writeInputHelperGreeting(int output, bool shortcuts = false);
// Reads what waits on `devices` and writes a record for each button, wheel and key activity, and
// for each chord the devices name.
bool forwardInputActivity(InputActivitySource& devices, int output);

// Forwards activity until the reader closes the output, the parent is gone or the deadline
// passes. SIGPIPE must be ignored: a vanished reader is noticed as EPIPE.
InputHelperEnd runInputHelper(InputActivitySource& devices, int output, const InputHelperWatch& watch);

}  // namespace vantile
