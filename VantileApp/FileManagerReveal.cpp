#include "FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QUrl>

namespace vantile::FileManagerReveal {

namespace {

QString text(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

void showItemsOverBus(const std::filesystem::path& file, std::function<void(bool shown)> answered)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        answered(false);
        return;
    }
    // The file manager may take a while to start; the answer arrives through the event loop.
    QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                                       "org.freedesktop.FileManager1", "ShowItems");
    call << QStringList{QUrl::fromLocalFile(text(file)).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                         answered(!finished->isError());
                         finished->deleteLater();
                     });
}

}  // namespace

Ways desktopWays()
{
    return {showItemsOverBus, [](const std::filesystem::path& folder) {
                return QDesktopServices::openUrl(QUrl::fromLocalFile(text(folder)));
            }};
}

void reveal(const std::filesystem::path& file, const Ways& ways, std::function<void(const std::string& failure)> failed)
{
    ways.showItems(file, [file, openFolder = ways.openFolder, failed = std::move(failed)](bool shown) {
        if (shown) return;
        const std::filesystem::path folder = file.parent_path();
        if (openFolder(folder)) return;
        if (failed) failed("无法打开文件管理器：没有程序能显示文件夹 " + folder.string());
    });
}

}  // namespace vantile::FileManagerReveal
