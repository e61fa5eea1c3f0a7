#include "MainWindowLoader.h"

#include "AppState.h"
#include "BackgroundGallery.h"
#include "CameraThumbnailItem.h"
#include "LivePreviewItem.h"
#include "ProjectThumbnails.h"
#include "TimelineStripItem.h"

#include <QQmlContext>
#include <QQuickStyle>

namespace vantile {

void registerQmlTypes()
{
    static bool registered = false;
    if (registered) return;
    registered = true;
    qmlRegisterType<LivePreviewItem>("Vantile", 1, 0, "LivePreview");
    qmlRegisterType<TimelineStripItem>("Vantile", 1, 0, "TimelineStrip");
    qmlRegisterType<CameraThumbnailItem>("Vantile", 1, 0, "CameraThumbnail");
    qmlRegisterUncreatableType<AppState>("Vantile", 1, 0, "AppState", "AppState is created once by the application.");
    // Our own look on every desktop; the platform styles do not take the colours we set.
    QQuickStyle::setStyle("Basic");
}

std::unique_ptr<QQmlApplicationEngine> loadMainWindow(AppState& appState)
{
    registerQmlTypes();
    auto engine = std::make_unique<QQmlApplicationEngine>();
    engine->rootContext()->setContextProperty("appState", &appState);
    engine->addImageProvider(ProjectThumbnailProvider::name,
                             new ProjectThumbnailProvider(ProjectThumbnails(ProjectThumbnails::defaultCacheDirectory())));
    engine->addImageProvider(BackgroundThumbnailProvider::name, new BackgroundThumbnailProvider);
    engine->load(QUrl("qrc:/qml/Main.qml"));
    if (engine->rootObjects().isEmpty()) return nullptr;
    return engine;
}

}  // namespace vantile
