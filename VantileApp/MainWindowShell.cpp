#include "MainWindowShell.h"

#include "FileManagerReveal.h"
#include "RecordingHintPlacement.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace vantile {

namespace {

std::vector<QWindow*> mainWindows()
{
    std::vector<QWindow*> windows;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->title() == MainWindowShell::mainWindowTitle) windows.push_back(window);
    }
    return windows;
}

}  // namespace

bool MainWindowShell::showMainWindow()
{
    dismissRecordingHint();
    const auto windows = mainWindows();
    if (windows.empty()) return false;
    QWindow* window = windows.front();
    window->show();
    window->raise();
    window->requestActivate();
    return true;
}

void MainWindowShell::hideMainWindow()
{
    for (QWindow* window : mainWindows()) window->hide();
}

void MainWindowShell::showRecordingHint(const CaptureSource& recorded)
{
    dismissRecordingHint();
    HintScreens screens;
    const auto allScreens = QGuiApplication::screens();
    for (qsizetype index = 0; index < allScreens.size(); ++index) {
        screens.availableAreas.push_back(allScreens[index]->availableGeometry());
        screens.fullAreas.push_back(allScreens[index]->geometry());
        if (allScreens[index] == QGuiApplication::screenAt(QCursor::pos())) screens.pointerScreen = index;
        if (allScreens[index] == QGuiApplication::primaryScreen()) screens.primaryScreen = index;
    }
    const auto chosen = chooseHintScreen(screens, recorded);
    // Every screen is being recorded: no panel, the tray's tooltip says "Vantile 正在录制".
    if (!chosen) return;

    recordingHintPanel_ = std::make_unique<RecordingHintPanel>();
    recordingHintPanel_->setGeometry(hintGeometry(screens.availableAreas[*chosen]));
    recordingHintPanel_->show();
    recordingHintTask_ = std::make_unique<QTimer>();
    recordingHintTask_->setSingleShot(true);
    QPointer<RecordingHintPanel> panel(recordingHintPanel_.get());
    QObject::connect(recordingHintTask_.get(), &QTimer::timeout, [this, panel] {
        if (panel && panel == recordingHintPanel_.get()) {
            panel->hide();
            recordingHintPanel_.release()->deleteLater();
            recordingHintTask_.release()->deleteLater();
        }
    });
    recordingHintTask_->start(hintMilliseconds);
}

void MainWindowShell::dismissRecordingHint()
{
    recordingHintTask_.reset();
    if (recordingHintPanel_) recordingHintPanel_->hide();
    recordingHintPanel_.reset();
}

void MainWindowShell::revealFile(const std::filesystem::path& file)
{
    FileManagerReveal::reveal(file);
}

}  // namespace vantile
