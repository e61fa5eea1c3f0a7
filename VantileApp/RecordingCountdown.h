#pragma once

#include <QString>

#include <optional>

namespace vantile {

// The countdown before a recording's first frame. Automatic counts 3 s where Vantile's windows
// would otherwise be in the picture (a recorded single screen) and not at all elsewhere.
enum class CountdownChoice { automatic, off, twoSeconds, threeSeconds };

// "auto", "off", "2", "3": the settings file's and the screens' spelling.
QString countdownChoiceName(CountdownChoice choice);
std::optional<CountdownChoice> parseCountdownChoice(const QString& name);

// Seconds to count down for a recording that does or does not leave a screen free.
int countdownSeconds(CountdownChoice choice, bool recordsEveryScreen);

// The user's choice: `recording/countdown` in Vantile's settings file; automatic when unset or unreadable.
CountdownChoice configuredCountdown();
void saveCountdown(CountdownChoice choice);

}  // namespace vantile
