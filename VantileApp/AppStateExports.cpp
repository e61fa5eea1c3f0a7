#include "AppState.h"

#include "ExportFlow.h"
#include "render/ExportFormat.h"

#include <QDateTime>
#include <QLocale>
#include <QStandardPaths>

#include <algorithm>

namespace vantile {

namespace fs = std::filesystem;

namespace {

QString text(const fs::path& path) { return QString::fromStdString(path.string()); }

bool isGif(const fs::path& file) { return exportContainer(file) == ExportContainer::gif; }

bool hasKnownExtension(const fs::path& file)
{
    QString extension = QString::fromStdString(file.extension().string()).toLower();
    return std::ranges::any_of(exportFormats(), [&](const ExportFormat& format) {
        return extension == QString::fromStdString(format.extension);
    });
}

QString formatLabel(const std::string& format)
{
    if (format == "webm") return "WebM";
    return QString::fromStdString(format).toUpper();
}

QDateTime localTime(Timestamp instant)
{
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(instant.time_since_epoch()).count();
    return QDateTime::fromMSecsSinceEpoch(milliseconds).toLocalTime();
}

}  // namespace

QUrl AppState::exportFolder() const
{
    if (exportFolder_) return QUrl::fromLocalFile(text(*exportFolder_));
    QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (videos.isEmpty()) videos = QStandardPaths::writableLocation(QStandardPaths::HomeLocation);
    return QUrl::fromLocalFile(videos);
}

QString AppState::suggestedExportName(bool gif) const
{
    const QString extension = gif ? "gif" : "mp4";
    if (!currentProject_) return "Vantile." + extension;
    // No colons: other systems' file names cannot hold them.
    return "Vantile " + localTime(currentProject_->createdAt).toString("yyyy-MM-dd HH-mm") + "." + extension;
}

QUrl AppState::suggestedExportFile(bool gif) const
{
    return QUrl::fromLocalFile(exportFolder().toLocalFile() + "/" + suggestedExportName(gif));
}

QStringList AppState::exportNameFilters(bool gif) const
{
    QStringList filters;
    for (const ExportFormat& format : exportFormats()) {
        if ((format.container == ExportContainer::gif) != gif) continue;
        // Qt's own dialog takes its patterns from the first parenthesis, so the label has none.
        QString label = QString::fromStdString(format.label).replace(" (", " · ").remove(')');
        filters.append(label + " (*" + QString::fromStdString(format.extension) + ")");
    }
    return filters;
}

void AppState::exportTo(const QUrl& file, const QString& extension)
{
    // Qt 6.4's own dialog hands back a typed name as a bare path, without the file scheme.
    const bool barePath = file.scheme().isEmpty() && file.path().startsWith('/');
    if (isBusy_ || !(file.isLocalFile() || barePath)) return;
    fs::path destination = (barePath ? file.path() : file.toLocalFile()).toStdString();
    if (!hasKnownExtension(destination) && !extension.isEmpty()) {
        destination += "." + extension.toStdString();
    }
    std::error_code error;
    if (fs::exists(destination, error)) {
        pendingReplacement_ = destination;
        emit replaceQuestionChanged();
        return;
    }
    exportFlow_->start(isGif(destination) ? ExportFlow::Format::gif : ExportFlow::Format::movie, destination);
}

void AppState::confirmReplace()
{
    if (!pendingReplacement_) return;
    const fs::path destination = *pendingReplacement_;
    pendingReplacement_.reset();
    emit replaceQuestionChanged();
    exportFlow_->start(isGif(destination) ? ExportFlow::Format::gif : ExportFlow::Format::movie, destination);
}

void AppState::cancelReplace()
{
    if (!pendingReplacement_) return;
    pendingReplacement_.reset();
    emit replaceQuestionChanged();
}

QString AppState::replaceQuestion() const
{
    if (!pendingReplacement_) return {};
    return "“" + QString::fromStdString(pendingReplacement_->filename().string()) + "”已存在，要替换吗？";
}

QVariantList AppState::exportsValue() const
{
    QVariantList list;
    if (!currentProject_ || !projectDirectory_) return list;
    const QLocale locale(QLocale::C);
    for (auto record = currentProject_->exports.rbegin(); record != currentProject_->exports.rend(); ++record) {
        const fs::path path(record->path);
        const fs::path file = path.is_absolute() ? path : *projectDirectory_ / path;
        list.append(QVariantMap{
            {"key", QString::fromStdString(record->path)},
            {"name", QString::fromStdString(file.filename().string())},
            {"path", text(file)},
            {"format", formatLabel(record->format)},
            {"time", localTime(record->exportedAt).toString("yyyy-MM-dd HH:mm")},
            {"size", locale.formattedDataSize(record->bytes, 1, QLocale::DataSizeSIFormat)},
        });
    }
    return list;
}

void AppState::revealExport(const QString& key) { exportFlow_->reveal(key.toStdString()); }
void AppState::moveExportToTrash(const QString& key) { exportFlow_->moveToTrash(key.toStdString()); }

void AppState::requestQuit()
{
    if (!isExporting_) {
        quitAction_();
        return;
    }
    setAskingToQuit(true);
    showMainWindow();
}

void AppState::continueExporting() { setAskingToQuit(false); }

void AppState::cancelExportAndQuit()
{
    setAskingToQuit(false);
    if (!isExporting_) {
        quitAction_();
        return;
    }
    quitWhenExportEnds_ = true;
    exportFlow_->cancel();
}

void AppState::setAskingToQuit(bool asking)
{
    if (isAskingToQuit_ == asking) return;
    isAskingToQuit_ = asking;
    emit isAskingToQuitChanged();
}

}  // namespace vantile
