#include "HeadlessQt.h"

#include <QGuiApplication>

#include <cstdio>

namespace vantile::cli {

HeadlessQt::HeadlessQt()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt's notices (such as a missing runtime directory) are noise for a headless tool.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtCriticalMsg || type == QtFatalMsg) std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    // Qt keeps argc by reference for the application's lifetime.
    static int argc = 1;
    static char name[] = "vantile-cli";
    static char* argv[] = {name, nullptr};
    application_ = std::make_unique<QGuiApplication>(argc, argv);
}

HeadlessQt::~HeadlessQt() = default;

}  // namespace vantile::cli
