#include "SampleProject.h"
#include "ScreenHarness.h"
#include "ProjectThumbnails.h"
#include "store/ProjectFileManager.h"

#include <QQuickItem>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using testing::ScreenHarness;
using testing::waitFor;
using testing::writeText;

// Points the user's data and cache folders into the test's own directory for its lifetime.
struct PrivateUserFolders {
    QByteArray dataBefore = qgetenv("XDG_DATA_HOME");
    QByteArray cacheBefore = qgetenv("XDG_CACHE_HOME");

    explicit PrivateUserFolders(const fs::path& home)
    {
        ::setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (home / "cache").c_str(), 1);
    }
    ~PrivateUserFolders()
    {
        restore("XDG_DATA_HOME", dataBefore);
        restore("XDG_CACHE_HOME", cacheBefore);
    }
    static void restore(const char* name, const QByteArray& value)
    {
        if (value.isEmpty()) ::unsetenv(name);
        else ::setenv(name, value.constData(), 1);
    }
};

std::vector<std::string> listedNames(const AppState& state)
{
    std::vector<std::string> names;
    for (const auto& project : state.projects()) names.push_back(project.name);
    return names;
}

void collectRows(QQuickItem* item, std::vector<QQuickItem*>& found)
{
    if (!item->isVisible()) return;
    if (item->objectName() == "projectRow") found.push_back(item);
    for (QQuickItem* child : item->childItems()) collectRows(child, found);
}

std::vector<QQuickItem*> rows(const ScreenHarness& screens)
{
    std::vector<QQuickItem*> found;
    collectRows(screens.window()->contentItem(), found);
    std::sort(found.begin(), found.end(), [](QQuickItem* a, QQuickItem* b) { return a->y() < b->y(); });
    return found;
}

bool pictureShown(QQuickItem* item)
{
    if (item->inherits("QQuickImage") && item->property("status").toInt() == 1) return true;
    for (QQuickItem* child : item->childItems())
        if (pictureShown(child)) return true;
    return false;
}

TEST(ProjectListTest, HomeListsProjectsNewestFirstWithPicturesAndOpensRenamesAndTrashesThem)
{
    testing::TemporaryDirectory home;
    const PrivateUserFolders folders(home.path());
    ScreenHarness screens;
    ASSERT_TRUE(screens.window());
    const fs::path root = screens.root / "projects";
    const ProjectFileManager files(root);
    const std::pair<const char*, const char*> recorded[] = {
        {"alpha", "2026-11-01T10:00:00Z"}, {"beta", "2026-11-03T10:00:00Z"}, {"gamma", "2026-11-02T10:00:00Z"}};
    for (const auto& [name, createdAt] : recorded) {
        testing::makeSampleProject(root / name, 640, 360, 2);
        files.updateProject(root / name, [&](RecordingProject project) {
            project.createdAt = parseISO8601(createdAt);
            if (std::string(name) == "beta") project.exportVideoPath = "export.mp4";
            return project;
        });
    }
    writeText(root / "cut-off" / ".vantile" / ProjectFileManager::journalFileName, "{}\n");
    fs::last_write_time(root / "cut-off", fs::file_time_type::clock::now() - std::chrono::hours(24 * 365 * 2));

    const QImage picture =
        ProjectThumbnails(home / "cache" / "direct").thumbnail(root / "alpha" / "raw.mov");
    EXPECT_EQ(picture.width(), ProjectThumbnails::width);

    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    screens.state->refreshProjects();
    ASSERT_TRUE(waitFor([&] { return screens.state->projects().size() == 4; }));
    EXPECT_EQ(listedNames(*screens.state), (std::vector<std::string>{"beta", "gamma", "alpha", "cut-off"}));
    ASSERT_TRUE(waitFor([&] { return rows(screens).size() == 4; }));
    const auto texts = screens.visibleTexts();
    for (const char* shown : {"beta", "已导出", "未完成", "恢复", "打开项目…"})
        EXPECT_TRUE(texts.count(shown)) << shown;

    // Every recorded project gets a picture of its movie, decoded once into the user's cache.
    ASSERT_TRUE(waitFor(
        [&] {
            int ready = 0;
            for (QQuickItem* row : rows(screens)) ready += pictureShown(row);
            return ready == 3;
        },
        20000));
    int cached = 0;
    for (const auto& entry : fs::directory_iterator(home / "cache" / "vantile" / "thumbnails"))
        cached += entry.path().extension() == ".png";
    EXPECT_EQ(cached, 3);

    // A click opens a project; so does choosing one with the arrow keys and pressing Enter.
    QQuickItem* gammaRow = rows(screens)[1];
    QTest::mouseClick(screens.window(), Qt::LeftButton, {}, gammaRow->mapToScene(QPointF(300, 20)).toPoint());
    ASSERT_TRUE(waitFor([&] { return screens.state->route() == Route::preview; }));
    EXPECT_EQ(screens.state->projectDirectory(), root / "gamma");
    screens.state->setRouteName("home");
    ASSERT_TRUE(waitFor([&] { return rows(screens).size() == 4 && !screens.state->isBusy(); }));
    screens.item("projectList")->forceActiveFocus();
    for (int step = 0; step < 3; ++step) QTest::keyClick(screens.window(), Qt::Key_Down);
    QTest::keyClick(screens.window(), Qt::Key_Return);
    ASSERT_TRUE(waitFor([&] { return screens.state->projectDirectory() == root / "alpha"; }));
    EXPECT_EQ(screens.state->route(), Route::preview);

    // Renaming the open project lets go of it first; a taken name is refused and changes nothing.
    screens.state->setRouteName("home");
    screens.state->renameProject(QString::fromStdString((root / "alpha").string()), "beta");
    EXPECT_EQ(screens.state->errorMessage(), "There is already a project or file named “beta”.");
    EXPECT_TRUE(fs::exists(root / "alpha"));
    screens.state->renameProject(QString::fromStdString((root / "alpha").string()), "产品演示");
    EXPECT_FALSE(screens.state->hasProject());
    ASSERT_TRUE(waitFor([&] { return listedNames(*screens.state) ==
                                     std::vector<std::string>{"beta", "gamma", "产品演示", "cut-off"}; }));
    EXPECT_NO_THROW(files.loadProject(root / "产品演示"));

    // Delete goes to the trash of the user's data folder, never away for good.
    screens.state->moveProjectToTrash(QString::fromStdString((root / "gamma").string()));
    EXPECT_FALSE(fs::exists(root / "gamma"));
    EXPECT_TRUE(fs::exists(home / "data" / "Trash" / "files" / "gamma" / "raw.mov"));
    EXPECT_TRUE(fs::exists(home / "data" / "Trash" / "info" / "gamma.trashinfo"));
    ASSERT_TRUE(waitFor([&] { return screens.state->projects().size() == 3; }));
    // Where no trash can be made, the project stays where it was and the user is told.
    writeText(home / "not a folder", "x");
    ::setenv("XDG_DATA_HOME", (home / "not a folder" / "data").c_str(), 1);
    screens.state->moveProjectToTrash(QString::fromStdString((root / "产品演示").string()));
    EXPECT_EQ(screens.state->errorMessage(), "无法把“产品演示”移到回收站，项目仍在原处。");
    EXPECT_NO_THROW(files.loadProject(root / "产品演示"));
    EXPECT_FALSE(fs::exists(fs::current_path() / "files" / "产品演示"));

    // A folder dialog's or a drop's file URL opens the project; a file inside it names it too.
    screens.state->openProjectLocation(
        QUrl::fromLocalFile(QString::fromStdString((root / "beta" / "raw.mov").string())).toString());
    ASSERT_TRUE(waitFor([&] { return screens.state->route() == Route::preview; }));
    EXPECT_EQ(screens.state->projectDirectory(), root / "beta");
    // While it exports, the open project keeps its name and its place.
    screens.state->setExporting(true);
    screens.state->moveProjectToTrash(QString::fromStdString((root / "beta").string()));
    EXPECT_TRUE(fs::exists(root / "beta"));
    EXPECT_EQ(screens.state->errorMessage(), "这个项目正在导出，导出结束后再重命名或删除。");
    screens.state->setExporting(false);

    screens.state->setRouteName("home");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    fs::create_directories(home / "holiday");
    screens.state->openProjectLocation(QString::fromStdString((home / "holiday").string()));
    EXPECT_EQ(screens.state->errorMessage(), "“" + (home / "holiday").string() + "”不是 Vantile 项目：其中没有录制的项目文件。");
    EXPECT_EQ(screens.state->route(), Route::home);
}

}  // namespace
}  // namespace vantile
