#include "sample/SampleScreenPainter.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>

namespace vantile {

namespace {

QRectF rect(const SampleScript::Rect& r)
{
    return {r.x, r.y, r.width, r.height};
}

QFont font(double pixelSize, bool bold = false)
{
    QFont result("DejaVu Sans");
    result.setPixelSize(std::max(6, static_cast<int>(std::lround(pixelSize))));
    result.setBold(bold);
    return result;
}

// A white card or field: rounded, filled, with a thin outline.
void drawOutlinedPanel(QPainter& painter, const QRectF& area, double radius, const QPen& outline)
{
    QPainterPath path;
    path.addRoundedRect(area, radius, radius);
    painter.fillPath(path, Qt::white);
    painter.setPen(outline);
    painter.drawPath(path);
}

const std::array<const char*, 6> sidebarItems = {"Overview", "Reports", "Customers", "Billing", "Settings", "Help"};

}  // namespace

SampleScreenPainter::SampleScreenPainter(const SampleScript& script) : script_(script)
{
    const int width = static_cast<int>(script.width);
    const int height = static_cast<int>(script.height);
    base_ = QImage(width, height, QImage::Format_RGB32);
    {
        QPainter painter(&base_);
        paintBase(painter);
    }
    const SampleScript::Rect& list = script.layout.list;
    listContent_ = QImage(static_cast<int>(list.width), static_cast<int>(list.height * 4), QImage::Format_RGB32);
    {
        QPainter painter(&listContent_);
        paintListContent(painter);
    }
}

void SampleScreenPainter::paintBase(QPainter& painter) const
{
    const double w = script_.width;
    const double h = script_.height;
    const double unit = std::min(w / 1920, h / 1080);
    const SampleScript::Layout& layout = script_.layout;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    QLinearGradient desktop(0, 0, w, h);
    desktop.setColorAt(0, QColor(64, 86, 140));
    desktop.setColorAt(1, QColor(150, 96, 150));
    painter.fillRect(QRectF(0, 0, w, h), desktop);
    painter.fillRect(QRectF(0, 0, w, h * 0.03), QColor(24, 26, 32, 230));
    painter.setPen(QColor(230, 232, 238));
    painter.setFont(font(15 * unit, true));
    painter.drawText(QRectF(w * 0.01, 0, w * 0.3, h * 0.03), Qt::AlignVCenter, "Activities    Analytics");
    painter.drawText(QRectF(w * 0.7, 0, w * 0.29, h * 0.03), Qt::AlignVCenter | Qt::AlignRight, "Mon 10:42");

    const QRectF window = rect(layout.window);
    QPainterPath windowPath;
    windowPath.addRoundedRect(window, 10 * unit, 10 * unit);
    painter.fillPath(windowPath, QColor(250, 250, 252));
    painter.fillRect(QRectF(window.x(), window.y(), window.width(), layout.titleBarHeight), QColor(236, 238, 243));
    painter.setFont(font(17 * unit, true));
    painter.setPen(QColor(40, 44, 52));
    painter.drawText(QRectF(window.x(), window.y(), window.width(), layout.titleBarHeight), Qt::AlignCenter,
                     "Analytics — Q3 Dashboard");

    const QRectF sidebar = rect(layout.sidebar);
    painter.fillRect(sidebar, QColor(243, 244, 248));
    painter.setFont(font(18 * unit));
    for (std::size_t i = 0; i < sidebarItems.size(); ++i) {
        const QRectF item(sidebar.x() + 24 * unit, sidebar.y() + layout.sidebarItemHeight * static_cast<double>(i),
                          sidebar.width() - 30 * unit, layout.sidebarItemHeight);
        painter.setPen(QColor(55, 65, 81));
        painter.drawText(item, Qt::AlignVCenter, sidebarItems[i]);
    }

    painter.setPen(QColor(17, 24, 39));
    painter.setFont(font(30 * unit, true));
    painter.drawText(QRectF(layout.textField.x, h * 0.15, w * 0.4, h * 0.06), Qt::AlignVCenter, "New summary");
    painter.setFont(font(16 * unit));
    painter.setPen(QColor(100, 110, 125));
    painter.drawText(QRectF(layout.textField.x, h * 0.205, w * 0.4, h * 0.04), Qt::AlignVCenter,
                     "Write a short note for the weekly report");

    const QRectF chart = rect(layout.chart);
    drawOutlinedPanel(painter, chart, 12 * unit, QPen(QColor(226, 232, 240), 2 * unit));
    painter.setPen(QColor(17, 24, 39));
    painter.setFont(font(20 * unit, true));
    painter.drawText(chart.adjusted(24 * unit, 16 * unit, 0, 0), Qt::AlignTop | Qt::AlignLeft, "Weekly active users");
    const std::array<double, 12> values = {0.42, 0.55, 0.48, 0.62, 0.7, 0.66, 0.78, 0.74, 0.85, 0.81, 0.9, 0.95};
    const double barArea = chart.width() - 48 * unit;
    const double barWidth = barArea / static_cast<double>(values.size()) * 0.62;
    const double baseline = chart.bottom() - 28 * unit;
    const double maxHeight = chart.height() - 90 * unit;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double x = chart.x() + 24 * unit + barArea / static_cast<double>(values.size()) * static_cast<double>(i);
        QPainterPath bar;
        bar.addRoundedRect(QRectF(x, baseline - maxHeight * values[i], barWidth, maxHeight * values[i]), 4 * unit,
                           4 * unit);
        painter.fillPath(bar, QColor(37 + static_cast<int>(i) * 8, 99, 235));
    }
}

void SampleScreenPainter::paintListContent(QPainter& painter) const
{
    const double unit = std::min(script_.width / 1920, script_.height / 1080);
    const double rowHeight = script_.layout.listRowHeight;
    painter.fillRect(listContent_.rect(), Qt::white);
    painter.setRenderHint(QPainter::Antialiasing);
    static const std::array<const char*, 8> names = {"Acme Corp", "Globex", "Initech", "Umbrella",
                                                     "Hooli",     "Stark",  "Wayne",   "Tyrell"};
    for (int row = 0; row * rowHeight < listContent_.height(); ++row) {
        const QRectF line(0, row * rowHeight, listContent_.width(), rowHeight);
        if (row % 2 == 1) painter.fillRect(line, QColor(248, 250, 252));
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromHsv((row * 47) % 360, 120, 220));
        painter.drawEllipse(QPointF(line.x() + 30 * unit, line.center().y()), 14 * unit, 14 * unit);
        painter.setPen(QColor(31, 41, 55));
        painter.setFont(font(17 * unit, true));
        painter.drawText(line.adjusted(56 * unit, 0, 0, -rowHeight * 0.35), Qt::AlignBottom,
                         QString("%1 #%2").arg(names[static_cast<std::size_t>(row) % names.size()]).arg(100 + row));
        painter.setPen(QColor(107, 114, 128));
        painter.setFont(font(14 * unit));
        painter.drawText(line.adjusted(56 * unit, rowHeight * 0.55, 0, 0), Qt::AlignTop,
                         QString("Renewal in %1 days · $%2k").arg(3 + row * 2).arg(12 + row * 3));
    }
}

void SampleScreenPainter::paint(QPainter& painter, double time)
{
    const double unit = std::min(script_.width / 1920, script_.height / 1080);
    const SampleScript::Layout& layout = script_.layout;
    painter.drawImage(QPointF(0, 0), base_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    const int selected = script_.selectedSidebarItem(time);
    QPainterPath highlight;
    highlight.addRoundedRect(QRectF(layout.sidebar.x + 10 * unit, layout.sidebar.y + layout.sidebarItemHeight * selected,
                                    layout.sidebar.width - 20 * unit, layout.sidebarItemHeight),
                             8 * unit, 8 * unit);
    painter.fillPath(highlight, QColor(37, 99, 235, 40));

    const QRectF field = rect(layout.textField);
    drawOutlinedPanel(painter, field, 8 * unit, QPen(QColor(147, 197, 253), 2 * unit));
    painter.setPen(QColor(17, 24, 39));
    painter.setFont(font(19 * unit));
    const QString typed = QString::fromStdString(script_.typedText(time));
    const QRectF textArea = field.adjusted(16 * unit, 0, -16 * unit, 0);
    painter.drawText(textArea, Qt::AlignVCenter | Qt::AlignLeft, typed);
    const double caretX = textArea.x() + painter.fontMetrics().horizontalAdvance(typed) + 2 * unit;
    if (std::fmod(time, 1.0) < 0.55) {
        painter.fillRect(QRectF(caretX, field.y() + field.height() * 0.25, 2 * unit, field.height() * 0.5),
                         QColor(37, 99, 235));
    }

    const QRectF button = rect(layout.saveButton);
    const bool pressed = script_.isPressed(time) && button.contains(script_.pointerX(time), script_.pointerY(time));
    QPainterPath buttonPath;
    buttonPath.addRoundedRect(button, 8 * unit, 8 * unit);
    painter.fillPath(buttonPath, pressed ? QColor(29, 78, 216) : QColor(37, 99, 235));
    painter.setPen(Qt::white);
    painter.setFont(font(18 * unit, true));
    painter.drawText(button, Qt::AlignCenter, "Save");

    const QRectF list = rect(layout.list);
    const double maxOffset = std::max(0.0, listContent_.height() - list.height());
    const double offset = std::fmod(script_.listScrollOffset(time), std::max(maxOffset, 1.0));
    painter.drawImage(list, listContent_, QRectF(0, offset, list.width(), list.height()));
    painter.setPen(QPen(QColor(226, 232, 240), 2 * unit));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(list);
}

}  // namespace vantile
