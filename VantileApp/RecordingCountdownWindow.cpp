#include "RecordingCountdownWindow.h"

#include "HeadsUpPanel.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace vantile {

RecordingCountdownWindow::RecordingCountdownWindow(int seconds, const QString& hintTitle, const QString& hint)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), secondsLeft_(seconds)
{
    setWindowTitle("Vantile 即将开始录制");
    setFixedSize(windowWidth, windowHeight);
    setAttribute(Qt::WA_TranslucentBackground);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 16, 24, 16);
    layout->setSpacing(6);
    number_ = new QLabel(QString::number(seconds), this);
    QFont numberFont = number_->font();
    numberFont.setPixelSize(84);
    numberFont.setWeight(QFont::DemiBold);
    number_->setFont(numberFont);
    number_->setAlignment(Qt::AlignCenter);
    number_->setStyleSheet("color: #f5f5f7;");
    layout->addWidget(number_, 1);

    hint_ = new QLabel(hint.isEmpty() ? QString() : hintTitle + "：" + hint, this);
    hint_->setWordWrap(true);
    hint_->setAlignment(Qt::AlignCenter);
    QFont hintFont = hint_->font();
    hintFont.setPixelSize(12);
    hint_->setFont(hintFont);
    hint_->setStyleSheet("color: rgba(235, 235, 245, 200);");
    hint_->setVisible(!hint.isEmpty());
    layout->addWidget(hint_);

    cancelButton_ = new QPushButton("取消", this);
    cancelButton_->setCursor(Qt::PointingHandCursor);
    cancelButton_->setStyleSheet("QPushButton { color: white; background: rgba(255, 255, 255, 40); border: none;"
                                 " border-radius: 7px; padding: 6px 18px; }");
    layout->addWidget(cancelButton_, 0, Qt::AlignHCenter);
    connect(cancelButton_, &QPushButton::clicked, this, &RecordingCountdownWindow::cancel);

    timer_.setInterval(1000);
    connect(&timer_, &QTimer::timeout, this, &RecordingCountdownWindow::tick);
}

void RecordingCountdownWindow::start()
{
    show();
    raise();
    // Focused, so Esc reaches it.
    activateWindow();
    timer_.start();
}

void RecordingCountdownWindow::tick()
{
    if (--secondsLeft_ > 0) {
        number_->setText(QString::number(secondsLeft_));
        return;
    }
    timer_.stop();
    hide();
    emit finished();
}

void RecordingCountdownWindow::cancel()
{
    if (!timer_.isActive()) return;
    timer_.stop();
    hide();
    emit cancelled();
}

void RecordingCountdownWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        cancel();
        return;
    }
    QWidget::keyPressEvent(event);
}

void RecordingCountdownWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    paintHeadsUpPanel(painter, rect(), 16, 235);
}

}  // namespace vantile
