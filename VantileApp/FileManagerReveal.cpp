#include "FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QUrl>

namespace vantile::FileManagerReveal {

namespace {

void openFolder(const std::filesystem::path& file)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(file.parent_path().string())));
}

}  // namespace

void reveal(const std::filesystem::path& file)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(file);
        return;
    }
    // The file manager may take a while to start; the answer arrives through the event loop.
    QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                                       "org.freedesktop.FileManager1", "ShowItems");
    call << QStringList{QUrl::fromLocalFile(QString::fromStdString(file.string())).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [file](QDBusPendingCallWatcher* finished) {
        if (finished->isError()) openFolder(file);
        finished->deleteLater();
    });
}

}  // namespace vantile::FileManagerReveal
