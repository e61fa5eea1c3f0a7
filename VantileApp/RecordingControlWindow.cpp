#include "RecordingControlWindow.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace vantile {

namespace {

Qt::WindowFlags controlFlags(bool frameless)
{
    if (!frameless) return Qt::Window | Qt::WindowStaysOnTopHint;
    return Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
}

}  // namespace

RecordingControlWindow::RecordingControlWindow(bool frameless)
    : QWidget(nullptr, controlFlags(frameless)), frameless_(frameless)
{
    setWindowTitle("Vantile 正在录制");
    // As a window it is a little wider, so its title fits beside the decoration's buttons.
    setFixedSize(frameless ? controlWidth : windowedWidth, controlHeight);
    if (frameless_) {
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_ShowWithoutActivating);
    }

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(34, 8, 8, 8);
    layout->setSpacing(10);
    elapsed_ = new QLabel("00:00", this);
    QFont timeFont = elapsed_->font();
    timeFont.setPixelSize(15);
    timeFont.setWeight(QFont::DemiBold);
    timeFont.setStyleHint(QFont::Monospace);
    elapsed_->setFont(timeFont);
    elapsed_->setStyleSheet("color: #f5f5f7;");
    layout->addWidget(elapsed_, 1);

    shortcut_ = new QLabel(this);
    QFont shortcutFont = shortcut_->font();
    shortcutFont.setPixelSize(11);
    shortcut_->setFont(shortcutFont);
    shortcut_->setStyleSheet("color: rgba(235, 235, 245, 153);");
    shortcut_->setVisible(false);
    layout->addWidget(shortcut_);

    stopButton_ = new QPushButton("停止", this);
    stopButton_->setCursor(Qt::PointingHandCursor);
    stopButton_->setStyleSheet("QPushButton { color: white; background: #ff3b30; border: none; border-radius: 7px;"
                               " padding: 6px 16px; font-weight: 600; }"
                               "QPushButton:pressed { background: #d70015; }");
    layout->addWidget(stopButton_);
    connect(stopButton_, &QPushButton::clicked, this, &RecordingControlWindow::stopRequested);
    stopButton_->installEventFilter(this);
}

bool RecordingControlWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == stopButton_ && event->type() == QEvent::MouseButtonPress) {
        lastPress_ = stopButton_->mapTo(this, static_cast<QMouseEvent*>(event)->position().toPoint());
    }
    return QWidget::eventFilter(watched, event);
}

void RecordingControlWindow::setElapsedText(const QString& text)
{
    elapsed_->setText(text);
}

void RecordingControlWindow::setShortcutText(const QString& text)
{
    shortcut_->setText(text);
    shortcut_->setVisible(!text.isEmpty());
    stopButton_->setToolTip(text.isEmpty() ? QString() : "停止录制（" + text + "）");
}

void RecordingControlWindow::closeEvent(QCloseEvent* event)
{
    // Without a tray this is the only way to stop: closing it must not strand the recording.
    emit stopRequested();
    event->accept();
}

void RecordingControlWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    const double radius = frameless_ ? 12 : 0;
    outline.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.fillPath(outline, QColor(24, 24, 27, frameless_ ? 235 : 255));
    if (frameless_) {
        painter.setPen(QPen(QColor(255, 255, 255, 40), 1));
        painter.drawPath(outline);
    }
    // The red dot that says a recording runs.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 59, 48));
    painter.drawEllipse(QRectF(14, height() / 2.0 - 5, 10, 10));
}

}  // namespace vantile
