#include "RecordingHintPanel.h"

#include "HeadsUpPanel.h"
#include "ProductMark.h"
#include "RecordingHintPlacement.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

namespace vantile {

RecordingHintPanel::RecordingHintPanel(const QString& message)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                           Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint),
      message_(message)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(hintWidth, hintHeight);
    setWindowTitle("Vantile 正在录制");
}

void RecordingHintPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setClipPath(paintHeadsUpPanel(painter, rect(), 10, 225));

    const QColor label(245, 245, 247);
    const QRectF markRect(16, (height() - 22) / 2.0, 22, 22);
    painter.drawPixmap(markRect.toRect(), ProductMark::pixmap(22, label, devicePixelRatioF()));

    QFont titleFont = font();
    titleFont.setPixelSize(13);
    titleFont.setWeight(QFont::DemiBold);
    const QFontMetrics titleMetrics(titleFont);
    const double titleTop = 10;
    const double dotX = markRect.right() + 13;
    const double titleCentre = titleTop + titleMetrics.height() / 2.0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 59, 48));
    painter.drawRoundedRect(QRectF(dotX, titleCentre - 4, 8, 8), 4, 4);

    const double textX = dotX + 8 + 8;
    const double textWidth = width() - textX - 16;
    painter.setPen(label);
    painter.setFont(titleFont);
    painter.drawText(QRectF(textX, titleTop, textWidth, titleMetrics.height()), Qt::AlignLeft | Qt::AlignVCenter,
                     "正在录制");

    QFont subtitleFont = font();
    subtitleFont.setPixelSize(11);
    // Two lines: the hints that name the tray or the shortcut are longer than one.
    const double subtitleTop = titleTop + titleMetrics.height() + 2;
    const QRectF subtitleArea(textX, subtitleTop, textWidth, height() - subtitleTop - 4);
    painter.setFont(subtitleFont);
    painter.setPen(QColor(235, 235, 245, 153));
    painter.drawText(subtitleArea, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, message_);
}

}  // namespace vantile
