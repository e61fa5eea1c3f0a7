#include "DesktopTrash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace vantile {

namespace {

// When it cannot make the user's trash, Qt 6.4 moves into "files/" and "info/" under the
// working directory, where no trash lists it: the item goes back where the user left it.
void putBackFromMisplacedTrash(const QString& inTrash, const QString& source)
{
    const QFileInfo moved(inTrash);
    const QString files = moved.absolutePath();
    const QString info = QFileInfo(files + "/../info").absoluteFilePath();
    QDir().rename(moved.absoluteFilePath(), source);
    QFile::remove(info + "/" + moved.fileName() + ".trashinfo");
    // Only when empty: a folder of the same name that was there before keeps its contents.
    QDir().rmdir(files);
    QDir().rmdir(info);
}

}  // namespace

bool moveToDesktopTrash(const std::filesystem::path& item)
{
    const QString source = QString::fromStdString(item.string());
    // Qt 6.4 misplaces the item when the user's data folder does not exist yet (a fresh
    // account): the trash is made inside it first.
    QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    QString inTrash;
    if (!QFile::moveToTrash(source, &inTrash)) return false;
    if (!QFileInfo(inTrash).isRelative()) return true;
    putBackFromMisplacedTrash(inTrash, source);
    return false;
}

}  // namespace vantile
