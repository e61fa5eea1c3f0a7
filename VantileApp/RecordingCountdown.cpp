#include "RecordingCountdown.h"

#include <QSettings>

namespace vantile {

namespace {

constexpr const char* settingsKey = "recording/countdown";

QSettings userSettings()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, "vantile", "vantile");
}

}  // namespace

QString countdownChoiceName(CountdownChoice choice)
{
    switch (choice) {
    case CountdownChoice::automatic: return "auto";
    case CountdownChoice::off: return "off";
    case CountdownChoice::twoSeconds: return "2";
    case CountdownChoice::threeSeconds: return "3";
    }
    return "auto";
}

std::optional<CountdownChoice> parseCountdownChoice(const QString& name)
{
    for (const CountdownChoice choice : {CountdownChoice::automatic, CountdownChoice::off, CountdownChoice::twoSeconds,
                                         CountdownChoice::threeSeconds}) {
        if (name.trimmed().compare(countdownChoiceName(choice), Qt::CaseInsensitive) == 0) return choice;
    }
    return std::nullopt;
}

int countdownSeconds(CountdownChoice choice, bool recordsEveryScreen)
{
    switch (choice) {
    case CountdownChoice::automatic: return recordsEveryScreen ? 3 : 0;
    case CountdownChoice::off: return 0;
    case CountdownChoice::twoSeconds: return 2;
    case CountdownChoice::threeSeconds: return 3;
    }
    return 0;
}

CountdownChoice configuredCountdown()
{
    const QSettings settings = userSettings();
    return parseCountdownChoice(settings.value(settingsKey, "auto").toString()).value_or(CountdownChoice::automatic);
}

void saveCountdown(CountdownChoice choice)
{
    QSettings settings = userSettings();
    settings.setValue(settingsKey, countdownChoiceName(choice));
}

}  // namespace vantile
