#include "FakeServices.h"
#include "FileManagerReveal.h"
#include "MainWindowShell.h"
#include "SampleProject.h"
#include "ScreenHarness.h"

#include "render/ExportManager.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using testing::AppFixture;
using testing::ScreenHarness;
using testing::waitFor;

QQuickItem* findVisual(QQuickItem* item, const QString& name)
{
    if (item->objectName() == name) return item;
    for (QQuickItem* child : item->childItems()) {
        if (QQuickItem* found = findVisual(child, name)) return found;
    }
    return nullptr;
}

// By object name, also inside list rows, which only the visual tree holds.
QObject* find(ScreenHarness& screens, const char* name)
{
    if (QObject* found = screens.window()->findChild<QObject*>(name)) return found;
    return findVisual(screens.window()->contentItem(), name);
}

void click(ScreenHarness& screens, const char* name)
{
    QObject* button = find(screens, name);
    ASSERT_TRUE(button) << name;
    QMetaObject::invokeMethod(button, "clicked");
}

bool shown(ScreenHarness& screens, const char* name)
{
    QObject* item = find(screens, name);
    return item && item->property("visible").toBool();
}

QUrl fileUrl(const fs::path& file) { return QUrl::fromLocalFile(QString::fromStdString(file.string())); }

// The save dialog picks a file; one that exists is replaced only after Vantile's own question
// is answered with 替换, and each exported file is listed once.
TEST(ExportDestinationTest, ExportToAnExistingFileAsksFirstAndReplacesOnlyOnReplace)
{
    ScreenHarness screens;
    const auto directory = screens.root / "projects" / "project-sample";
    testing::makeSampleProject(directory, 640, 360, 2);
    screens.openProject(directory);
    const fs::path videos = screens.root / "Videos";
    fs::create_directories(videos);
    screens.state->setExportFolder(videos);

    // The dialog opens in the videos folder on a name from the project and its time, movie formats only.
    click(screens, "exportButton");
    QObject* dialog = find(screens, "exportDialog");
    ASSERT_TRUE(dialog);
    ASSERT_TRUE(waitFor([&] { return dialog->property("visible").toBool(); }));
    const QString suggested = dialog->property("selectedFile").toUrl().toLocalFile();
    EXPECT_EQ(QFileInfo(suggested).absolutePath().toStdString(), videos.string());
    EXPECT_TRUE(QFileInfo(suggested).fileName().contains(QRegularExpression(R"(^Vantile \d{4}-\d\d-\d\d \d\d-\d\d\.mp4$)")))
        << suggested.toStdString();
    const QStringList filters = dialog->property("nameFilters").toStringList();
    ASSERT_GE(filters.size(), 3);
    EXPECT_TRUE(filters.front().endsWith("(*.mp4)"));
    EXPECT_TRUE(filters.join(" ").contains("*.webm"));
    EXPECT_FALSE(filters.join(" ").contains("*.gif"));
    EXPECT_EQ(screens.state->exportNameFilters(true), QStringList{"GIF 动图 · 无声音 (*.gif)"});
    // The dialog reads the filter's pattern: MP4 files are listed, and a bare name gets ".mp4".
    const auto* filter = dialog->property("selectedNameFilter").value<QObject*>();
    ASSERT_TRUE(filter);
    EXPECT_EQ(filter->property("extensions").toStringList(), QStringList{"mp4"});

    // An existing file: asked, and 取消 leaves it alone and starts nothing.
    const fs::path taken = videos / "taken.mp4";
    testing::writeText(taken, "earlier");
    // Typed into the dialog's name field, as a user would.
    QObject* nameField = find(screens, "fileNameTextField");
    ASSERT_TRUE(nameField);
    nameField->setProperty("text", "taken.mp4");
    QMetaObject::invokeMethod(nameField, "editingFinished");
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitFor([&] { return shown(screens, "replaceDialog"); }));
    EXPECT_EQ(find(screens, "replaceDialogMessage")->property("text").toString(), "“taken.mp4”已存在，要替换吗？");
    click(screens, "replaceDialogReject");
    EXPECT_TRUE(waitFor([&] { return !shown(screens, "replaceDialog"); }));
    QTest::qWait(50);
    EXPECT_FALSE(screens.state->isBusy());
    EXPECT_EQ(testing::readText(taken), "earlier");
    const auto calls = screens.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "exporter.export"), 0);

    // 替换 exports over it, and it is listed by its full path as the latest export.
    screens.state->exportTo(fileUrl(taken), "mp4");
    ASSERT_TRUE(waitFor([&] { return shown(screens, "replaceDialog"); }));
    click(screens, "replaceDialogAccept");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy() && !shown(screens, "replaceDialog"); }));
    EXPECT_EQ(testing::readText(taken), "movie");
    EXPECT_EQ(screens.state->currentProject()->exportVideoPath, taken.string());

    // A name typed without an extension takes the chosen filter's; one inside the project is recorded by name.
    screens.state->exportTo(fileUrl(videos / "clip"), "gif");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    EXPECT_EQ(screens.exporter->lastJob->outputURL, videos / "clip.gif");
    screens.state->exportTo(fileUrl(directory / "inside.webm"), "mp4");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    // Exporting to taken.mp4 again moves it to the end rather than listing it twice.
    screens.state->exportTo(fileUrl(taken), "mp4");
    screens.state->confirmReplace();
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));

    const auto& exports = screens.state->currentProject()->exports;
    ASSERT_EQ(exports.size(), 3u);
    EXPECT_EQ(exports[0].path, (videos / "clip.gif").string());
    EXPECT_EQ(exports[0].format, "gif");
    EXPECT_EQ(exports[1].path, "inside.webm");
    EXPECT_EQ(exports[1].format, "webm");
    EXPECT_EQ(exports[2].path, taken.string());
    EXPECT_EQ(exports[2].bytes, 5);
    EXPECT_EQ(exports[2].exportedAt, screens.clock.now());
    EXPECT_EQ(screens.savedProject().exports, exports);

    // The list on screen, newest first.
    const QVariantList listed = screens.state->exportsValue();
    ASSERT_EQ(listed.size(), 3);
    EXPECT_EQ(listed[0].toMap()["name"].toString(), "taken.mp4");
    EXPECT_EQ(listed[1].toMap()["format"].toString(), "WebM");
    EXPECT_EQ(listed[1].toMap()["path"].toString().toStdString(), (directory / "inside.webm").string());
    EXPECT_EQ(listed[0].toMap()["size"].toString(), "5 bytes");
    EXPECT_TRUE(waitFor([&] { return find(screens, "exportName2"); }));
    EXPECT_EQ(find(screens, "exportName0")->property("text").toString(), "taken.mp4");
    EXPECT_EQ(find(screens, "exportName2")->property("text").toString(), "clip.gif");
}

// 删除 moves the file to the trash only after asking, and forgets it; reveal shows each one.
TEST(ExportDestinationTest, ExportsListRevealsAndMovesToTheTrashAfterAsking)
{
    ScreenHarness screens;
    // The trash of this test's own data directory, on the same file system as its files.
    const QByteArray dataHome = qgetenv("XDG_DATA_HOME");
    fs::create_directories(screens.root / "data");
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((screens.root / "data").string()));
    const auto directory = screens.root / "projects" / "project-sample";
    testing::makeSampleProject(directory, 640, 360, 2);
    screens.openProject(directory);
    screens.state->exportTo(fileUrl(directory / "first.mp4"), "mp4");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    screens.state->exportTo(fileUrl(directory / "second.mp4"), "mp4");
    ASSERT_TRUE(waitFor([&] { return !screens.state->isBusy(); }));
    ASSERT_TRUE(waitFor([&] { return find(screens, "trashExport1"); }));

    click(screens, "revealExport1");
    EXPECT_EQ(screens.log.entries().back(), "shell.reveal " + (directory / "first.mp4").string());

    // Newest first: row 0 is second.mp4, the latest export.
    click(screens, "trashExport0");
    ASSERT_TRUE(waitFor([&] { return shown(screens, "trashDialog"); }));
    EXPECT_EQ(find(screens, "trashDialogMessage")->property("text").toString(), "要将“second.mp4”移到回收站吗？");
    click(screens, "trashDialogReject");
    EXPECT_TRUE(waitFor([&] { return !shown(screens, "trashDialog"); }));
    EXPECT_TRUE(fs::exists(directory / "second.mp4"));
    EXPECT_EQ(screens.state->currentProject()->exports.size(), 2u);

    click(screens, "trashExport0");
    ASSERT_TRUE(waitFor([&] { return shown(screens, "trashDialog"); }));
    click(screens, "trashDialogAccept");
    ASSERT_TRUE(waitFor([&] { return screens.state->currentProject()->exports.size() == 1; }));
    EXPECT_FALSE(fs::exists(directory / "second.mp4"));
    EXPECT_EQ(testing::readText(screens.root / "data" / "Trash" / "files" / "second.mp4"), "movie");
    EXPECT_EQ(screens.state->currentProject()->exports[0].path, "first.mp4");
    // The latest export is gone, so none is named as the latest any more.
    EXPECT_FALSE(screens.state->currentProject()->exportVideoPath);
    EXPECT_EQ(screens.savedProject().exports, screens.state->currentProject()->exports);

    // A file already deleted elsewhere is only forgotten.
    fs::remove(directory / "first.mp4");
    screens.state->moveExportToTrash("first.mp4");
    EXPECT_TRUE(screens.state->currentProject()->exports.empty());
    EXPECT_FALSE(screens.state->errorMessage());
    EXPECT_TRUE(waitFor([&] { return screens.visibleTexts().count("还没有导出") == 1; }));
    if (dataHome.isNull()) {
        qunsetenv("XDG_DATA_HOME");
    } else {
        qputenv("XDG_DATA_HOME", dataHome);
    }
}

class MovieExporter : public ExportService {
public:
    void exportMovie(const RenderJob& job, ExportMonitor& monitor) override { ExportManager().exportMovie(job, &monitor); }
};

// The app with a given exporter, counting the quits it asks for instead of quitting.
struct QuittingApp {
    explicit QuittingApp(std::unique_ptr<ExportService> exporter) : shell(log)
    {
        AppCollaborators collaborators;
        collaborators.permissions = std::make_unique<testing::FakePermissions>(log);
        collaborators.sourceProvider = std::make_unique<testing::FakeSources>(log);
        collaborators.recorder = std::make_unique<testing::FakeRecorder>(log);
        collaborators.inputRecorder = std::make_unique<testing::FakeInputRecorder>(log);
        collaborators.exporter = std::move(exporter);
        collaborators.projectsRoot = root / "projects";
        state = std::make_unique<AppState>(std::move(collaborators));
        state->setDesktopShell(&shell);
        state->setQuitAction([this] { ++quits; });
    }

    testing::TemporaryDirectory root;
    testing::CallLog log;
    testing::FakeShell shell;
    std::unique_ptr<AppState> state;
    int quits = 0;
};

// Quitting while a real export renders asks first; 继续导出 keeps it going, 取消并退出 cancels it,
// waits for its end and quits: no movie, no staged file, no record.
TEST(ExportDestinationTest, QuittingDuringAnExportAsksAndCancelLeavesNoFileAndNoRecord)
{
    QuittingApp app(std::make_unique<MovieExporter>());
    AppState& state = *app.state;
    const testing::TemporaryDirectory& root = app.root;
    int& quits = app.quits;

    // Nothing exporting: quits at once.
    state.requestQuit();
    EXPECT_EQ(quits, 1);
    EXPECT_FALSE(state.isAskingToQuit());

    const auto directory = root / "projects" / "project-long";
    testing::makeSampleProject(directory, 1280, 720, 8);
    state.openProject(directory);
    const fs::path out = root / "out";
    fs::create_directories(out);
    state.exportTo(fileUrl(out / "demo.mp4"), "mp4");
    ASSERT_TRUE(state.isExporting());
    ASSERT_TRUE(waitFor([&] { return state.exportProgress() > 0; }, 60000));

    state.requestQuit();
    EXPECT_TRUE(state.isAskingToQuit());
    EXPECT_EQ(app.log.entries().back(), "shell.showMainWindow");
    state.continueExporting();
    EXPECT_FALSE(state.isAskingToQuit());
    QTest::qWait(100);
    EXPECT_EQ(quits, 1);
    ASSERT_TRUE(state.isExporting()) << "the export ended before it could be cancelled";

    state.requestQuit();
    state.cancelExportAndQuit();
    EXPECT_FALSE(state.isAskingToQuit());
    ASSERT_TRUE(waitFor([&] { return quits == 2; }, 60000));
    EXPECT_FALSE(state.isExporting());
    EXPECT_TRUE(fs::is_empty(out)) << testing::firstEntry(out)->string();
    EXPECT_TRUE(state.currentProject()->exports.empty());
    state.shutdown();
    const RecordingProject saved = ProjectFileManager(root / "projects").loadProject(directory);
    EXPECT_TRUE(saved.exports.empty());
    EXPECT_FALSE(saved.exportVideoPath);
    QTest::qWait(50);
    EXPECT_EQ(quits, 2);
}

// The movie lands in the very instant the user chooses 取消并退出: the cancel still leaves no file.
TEST(ExportDestinationTest, ACancelThatComesAsTheMovieLandsStillLeavesNoFileAndNoRecord)
{
    class LandsThenWaitsForTheCancel : public ExportService {
    public:
        void exportMovie(const RenderJob& job, ExportMonitor& monitor) override
        {
            std::ofstream(job.outputURL) << "movie";
            landed = true;
            while (!monitor.isCancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::atomic<bool> landed{false};
    };
    auto exporter = std::make_unique<LandsThenWaitsForTheCancel>();
    const auto* landing = exporter.get();
    QuittingApp app(std::move(exporter));
    AppState& state = *app.state;
    const testing::TemporaryDirectory& root = app.root;

    const auto directory = root / "projects" / "project-short";
    testing::makeSampleProject(directory, 640, 360, 1);
    state.openProject(directory);
    const fs::path out = root / "out";
    fs::create_directories(out);
    state.exportTo(fileUrl(out / "demo.mp4"), "mp4");
    ASSERT_TRUE(waitFor([&] { return landing->landed.load(); }, 10000));
    state.requestQuit();
    state.cancelExportAndQuit();
    ASSERT_TRUE(waitFor([&] { return app.quits == 1; }, 10000));
    EXPECT_TRUE(fs::is_empty(out)) << testing::firstEntry(out)->string();
    EXPECT_TRUE(state.currentProject()->exports.empty());
    EXPECT_FALSE(state.currentProject()->exportVideoPath);
}

// Showing a file: the file manager, else its folder, else an error in the app.
TEST(ExportDestinationTest, RevealFallsBackToTheFolderAndThenToAnErrorInTheApp)
{
    AppFixture app;
    const auto directory = app.root / "projects" / "project-sample";
    testing::makeSampleProject(directory, 640, 360, 2);
    app.state->openProject(directory);
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    MainWindowShell shell;
    std::vector<std::string> calls;
    bool fileManagerAnswers = true;
    bool folderOpens = true;
    shell.setRevealWays({[&](const fs::path& file, std::function<void(bool)> answered) {
                             calls.push_back("showItems " + file.string());
                             answered(fileManagerAnswers);
                         },
                         [&](const fs::path& folder) {
                             calls.push_back("openFolder " + folder.string());
                             return folderOpens;
                         }});
    shell.setRevealFailedAction([&](const std::string& failure) { app.state->setErrorMessage(failure); });
    app.state->setDesktopShell(&shell);
    const fs::path movie = directory / "export.mp4";

    app.state->revealExport("export.mp4");
    EXPECT_EQ(calls, (std::vector<std::string>{"showItems " + movie.string()}));

    fileManagerAnswers = false;
    calls.clear();
    app.state->revealExportInFinder();
    EXPECT_EQ(calls, (std::vector<std::string>{"showItems " + movie.string(), "openFolder " + directory.string()}));
    EXPECT_FALSE(app.state->errorMessage());

    folderOpens = false;
    app.state->revealExport("export.mp4");
    EXPECT_EQ(app.state->errorMessage(), "无法打开文件管理器：没有程序能显示文件夹 " + directory.string());
    // Only recorded exports are shown.
    calls.clear();
    app.state->revealExport("../elsewhere.mp4");
    EXPECT_TRUE(calls.empty());
    app.state->setDesktopShell(&app.shell);
}

}  // namespace
}  // namespace vantile
