#pragma once

#include "AppServices.h"
#include "RecordingHintPanel.h"

#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

namespace vantile {

// The windows around the controller: the main window titled "Vantile", the recording hint
// and the file manager.
class MainWindowShell : public DesktopShell {
public:
    bool showMainWindow() override;
    void hideMainWindow() override;
    void showRecordingHint(const CaptureSource& recorded) override;
    void dismissRecordingHint() override;
    void revealFile(const std::filesystem::path& file) override;

    static constexpr const char* mainWindowTitle = "Vantile";
    static constexpr int hintMilliseconds = 4000;

    const RecordingHintPanel* recordingHintPanel() const { return recordingHintPanel_.get(); }

private:
    std::unique_ptr<RecordingHintPanel> recordingHintPanel_;
    std::unique_ptr<QTimer> recordingHintTask_;
};

}  // namespace vantile
