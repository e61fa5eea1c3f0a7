#pragma once

#include <QQmlApplicationEngine>

#include <memory>

namespace vantile {

class AppState;

// Registers the application's QML types; once per process.
void registerQmlTypes();

// Loads the main window ("main", titled "Vantile") with its screens over `appState`;
// null when the QML cannot be loaded.
std::unique_ptr<QQmlApplicationEngine> loadMainWindow(AppState& appState);

}  // namespace vantile
