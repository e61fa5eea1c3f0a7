#pragma once

#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace vantile {

// The small always-available recording control for desktops without a tray: the elapsed
// time and a 停止 button. Frameless and above other windows where the window system lets an
// application place it (X11); an ordinary small window the user can move elsewhere.
class RecordingControlWindow : public QWidget {
    Q_OBJECT

public:
    explicit RecordingControlWindow(bool frameless);

    void setElapsedText(const QString& text);
    QString elapsedText() const { return elapsed_->text(); }
    QPushButton* stopButton() const { return stopButton_; }

    static constexpr int controlWidth = 212;
    static constexpr int windowedWidth = 260;
    static constexpr int controlHeight = 48;

signals:
    void stopRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool frameless_;
    QLabel* elapsed_;
    QPushButton* stopButton_;
};

}  // namespace vantile
