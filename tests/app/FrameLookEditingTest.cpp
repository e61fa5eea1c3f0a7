#include "BackgroundGallery.h"
#include "LivePreviewItem.h"
#include "ScreenHarness.h"

#include "sample/SampleProjectWriter.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

TEST(FrameLookEditingTest, SystemWallpapersArePicturesFoundInEachFolderInOrder)
{
    testing::TemporaryDirectory root;
    const auto system = root.path() / "share";
    const auto user = root.path() / "home";
    std::filesystem::create_directories(system / "gnome");
    std::filesystem::create_directories(user);
    for (const auto& path : {system / "gnome" / "b.JPG", system / "a.png", system / "notes.txt", user / "mine.webp",
                             system / "gnome" / "c.jpeg.xml"}) {
        std::ofstream(path) << "x";
    }
    const auto found = BackgroundGallery::systemWallpapers({system, root.path() / "missing", user});
    EXPECT_EQ(found, (std::vector<std::filesystem::path>{system / "a.png", system / "gnome" / "b.JPG", user / "mine.webp"}));
    EXPECT_EQ(BackgroundGallery::systemWallpapers({system, user}, 2).size(), 2U);

    // Thumbnails: Vantile's own are drawn at the size asked, a file is read small.
    BackgroundThumbnailProvider thumbnails;
    QSize size;
    const QImage generated = thumbnails.requestImage("generated/4", &size, QSize(80, 45));
    EXPECT_EQ(generated.size(), QSize(80, 45));
    EXPECT_EQ(size, QSize(80, 45));
    QImage picture(640, 360, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    const auto file = root.path() / "wide picture.png";
    ASSERT_TRUE(picture.save(QString::fromStdString(file.string())));
    const QVariantList entries = BackgroundGallery::wallpaperEntries({file});
    const QString id = entries[0].toMap()["thumbnail"].toString().section('/', 3);
    const QImage read = thumbnails.requestImage(id, &size, QSize(64, 36));
    EXPECT_EQ(read.size(), QSize(64, 36));
    EXPECT_EQ(read.pixelColor(10, 10), QColor(Qt::darkCyan));
}

TEST(FrameLookEditingTest, AChosenPictureIsCopiedIntoTheProjectAndABrokenOneChangesNothing)
{
    ScreenHarness screen;
    const auto directory = screen.root / "projects" / "project-look";
    SampleProjectWriter::write(directory, {1, 320, 180});
    screen.openProject(directory);
    QQuickItem* preview = screen.item("livePreview");
    waitFor([&] { return preview && preview->property("ready").toBool(); });
    ASSERT_NE(screen.item("frameLookSection"), nullptr);

    const auto original = screen.root / "beach.png";
    QImage picture(400, 225, QImage::Format_RGB32);
    picture.fill(QColor(250, 200, 40));
    ASSERT_TRUE(picture.save(QString::fromStdString(original.string())));
    screen.state->chooseBackgroundImage(QUrl::fromLocalFile(QString::fromStdString(original.string())).toString());
    const RenderSettings chosen = screen.state->renderSettings();
    ASSERT_EQ(chosen.background.kind, BackgroundChoice::Kind::image);
    EXPECT_TRUE(std::filesystem::exists(directory / chosen.background.imagePath));
    // Saved with the project, as every setting is, a moment later.
    const auto saved = [&] {
        return ProjectFileManager(screen.root / "projects").loadProject(directory).renderSettings.background;
    };
    waitFor([&] { return saved() == chosen.background; });
    EXPECT_EQ(saved(), chosen.background);
    // The preview draws it: the frame's corner takes the picture's colour.
    const auto cornerIsPicture = [&] {
        const QImage shown = static_cast<LivePreviewItem*>(preview)->player().latestFrame();
        if (shown.isNull()) return false;
        const QColor corner = shown.pixelColor(1, 1);
        return std::abs(corner.red() - 250) + std::abs(corner.green() - 200) + std::abs(corner.blue() - 40) < 18;
    };
    waitFor(cornerIsPicture);
    EXPECT_TRUE(cornerIsPicture());

    std::ofstream(screen.root / "broken.png") << "no picture here";
    screen.state->chooseBackgroundImage(QString::fromStdString((screen.root / "broken.png").string()));
    EXPECT_EQ(screen.state->renderSettings(), chosen);
    EXPECT_NE(screen.state->property("errorMessage").toString().indexOf("broken.png"), -1);
}

}  // namespace
}  // namespace vantile
