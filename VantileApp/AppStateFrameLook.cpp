// The frame's look as the settings panel picks it: pictures from files or the desktop's
// wallpapers, kept in the project.
#include "AppState.h"

#include "BackgroundGallery.h"
#include "ProjectSession.h"
#include "render/BackgroundImport.h"
#include "render/RenderError.h"

#include <QUrl>

namespace vantile {

void AppState::chooseBackgroundImage(const QString& file)
{
    if (!projectDirectory_ || !session_) return;
    const QUrl url(file);
    const QString path = url.isLocalFile() ? url.toLocalFile() : file;
    try {
        RenderSettings settings = renderSettings_;
        const double blur =
            settings.background.kind == BackgroundChoice::Kind::image ? settings.background.blur : 0.0;
        settings.background = BackgroundChoice::image(adoptBackgroundImage(path.toStdString(), *projectDirectory_), blur);
        session_->applyRenderSettings(settings);
    } catch (const RenderError& error) {
        setErrorMessage(std::string("无法使用这张图片作为背景：") + error.what());
    }
}

QVariantList AppState::systemWallpapersValue() const
{
    return BackgroundGallery::wallpaperEntries(
        BackgroundGallery::systemWallpapers(BackgroundGallery::systemWallpaperFolders()));
}

}  // namespace vantile
