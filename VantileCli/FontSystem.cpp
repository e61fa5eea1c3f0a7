#include "FontSystem.h"

#include <QGuiApplication>

#include <cstdio>

namespace vantile::cli {

namespace {

int argumentCount = 1;
char programName[] = "vantile-cli";
char* arguments[] = {programName, nullptr};

}  // namespace

FontSystem::FontSystem()
{
    if (QCoreApplication::instance()) return;
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt's notices (such as a missing runtime directory) are noise for a headless tool.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtCriticalMsg || type == QtFatalMsg) std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    application_ = std::make_unique<QGuiApplication>(argumentCount, arguments);
}

FontSystem::~FontSystem() = default;

}  // namespace vantile::cli
