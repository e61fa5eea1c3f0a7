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
    // The key that stops the recording from anywhere, shown beside the button; empty hides it.
    void setShortcutText(const QString& text);
    QString shortcutText() const { return shortcut_->text(); }
    QPushButton* stopButton() const { return stopButton_; }
    // Where the last press on the stop button was, in the window's coordinates.
    QPoint lastPressPosition() const { return lastPress_; }

    static constexpr int controlWidth = 300;
    static constexpr int windowedWidth = 320;
    static constexpr int controlHeight = 48;

signals:
    void stopRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool frameless_;
    QLabel* elapsed_;
    QLabel* shortcut_;
    QPushButton* stopButton_;
    QPoint lastPress_;
};

}  // namespace vantile
