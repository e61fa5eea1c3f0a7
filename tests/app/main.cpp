#include "support/TemporaryDirectory.h"

#include <QApplication>

#include <gtest/gtest.h>

// The screens and the tray menu need a widget application; without a display they render offscreen.
int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    // What the screens cache (the timeline's strips) goes to a folder of the run's own, not the user's.
    vantile::testing::TemporaryDirectory cache;
    qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(cache.path().string()));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
