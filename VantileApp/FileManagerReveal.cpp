#include "FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDesktopServices>
#include <QUrl>

namespace vantile::FileManagerReveal {

void reveal(const std::filesystem::path& file)
{
    const QString path = QString::fromStdString(file.string());
    QDBusInterface fileManager("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                               "org.freedesktop.FileManager1", QDBusConnection::sessionBus());
    if (fileManager.isValid()) {
        const QDBusMessage reply =
            fileManager.call("ShowItems", QStringList{QUrl::fromLocalFile(path).toString()}, QString());
        if (reply.type() != QDBusMessage::ErrorMessage) return;
    }
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(file.parent_path().string())));
}

}  // namespace vantile::FileManagerReveal
