#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QWidget>

namespace vantile {

// The seconds before a recording starts, drawn while nothing is captured yet: a large number,
// the "正在录制" hint where the recording leaves it no other place, and 取消 (also Esc).
class RecordingCountdownWindow : public QWidget {
    Q_OBJECT

public:
    // `hint` empty: no hint inside.
    RecordingCountdownWindow(int seconds, const QString& hintTitle, const QString& hint);

    int secondsLeft() const { return secondsLeft_; }
    QString hintText() const { return hint_->text(); }
    QPushButton* cancelButton() const { return cancelButton_; }
    void start();
    // As 取消 does: hidden, then `cancelled`.
    void cancel();

    static constexpr int windowWidth = 380;
    static constexpr int windowHeight = 230;

signals:
    // The count reached zero; the window is already hidden.
    void finished();
    void cancelled();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void tick();

    int secondsLeft_;
    QLabel* number_;
    QLabel* hint_;
    QPushButton* cancelButton_;
    QTimer timer_;
};

}  // namespace vantile
