#include "FakeServices.h"

#include "FileManagerReveal.h"
#include "support/ChildProcess.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

// A file manager on a private session bus that notes what it was asked to show.
class FakeFileManager : public QDBusVirtualObject {
public:
    QStringList shown;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() != "ShowItems" || message.arguments().isEmpty()) return false;
        shown += message.arguments().front().toStringList();
        connection.send(message.createReply());
        return true;
    }
};

TEST(FileManagerRevealTest, RevealAsksTheFileManagerWithoutWaitingForItsAnswer)
{
    ChildProcess bus({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"},
                     {.captureOutput = true});
    const auto address = bus.readLine(std::chrono::seconds(5));
    ASSERT_TRUE(address);
    // Before anything in this process has used the session bus.
    setenv("DBUS_SESSION_BUS_ADDRESS", address->c_str(), 1);
    QDBusConnection service = QDBusConnection::connectToBus(QString::fromStdString(*address), "fileManager");
    FakeFileManager fileManager;
    ASSERT_TRUE(service.registerVirtualObject("/org/freedesktop/FileManager1", &fileManager));
    ASSERT_TRUE(service.registerService("org.freedesktop.FileManager1"));

    // The file manager answers on this very thread, so a call that waited would stall here.
    QElapsedTimer timer;
    timer.start();
    FileManagerReveal::reveal("/videos/demo/export.mp4");
    EXPECT_LT(timer.elapsed(), 1000);
    EXPECT_TRUE(testing::waitFor([&] { return !fileManager.shown.isEmpty(); }));
    EXPECT_EQ(fileManager.shown, QStringList{"file:///videos/demo/export.mp4"});
    QDBusConnection::disconnectFromBus("fileManager");
}

}  // namespace
}  // namespace vantile
