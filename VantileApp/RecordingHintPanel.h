#pragma once

#include <QWidget>

namespace vantile {

// The small "正在录制" panel: frameless, above other windows, never focused, and letting
// every click through to what lies below.
class RecordingHintPanel : public QWidget {
    Q_OBJECT

public:
    explicit RecordingHintPanel(const QString& message);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString message_;
};

}  // namespace vantile
