#include "render/layers/TextCalloutLayer.h"

#include "render/RenderError.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace vantile {

namespace {

// Sizes are fractions of the output's short side, so a callout looks the same at every resolution.
struct StyleLook {
    double textSize;          // the font's pixel size
    double horizontalPadding; // in text sizes
    double verticalPadding;
    double cornerRadius;      // in text sizes; the label's pill uses half its height
    QFont::Weight weight;
    double minimumWidth;      // a fraction of the frame's width
};

StyleLook lookOf(TextCalloutStyle style)
{
    switch (style) {
    case TextCalloutStyle::title: return {0.07, 1.0, 0.8, 0.35, QFont::Bold, 0.5};
    case TextCalloutStyle::lowerThird: return {0.045, 0.9, 0.55, 0.25, QFont::DemiBold, 0};
    case TextCalloutStyle::label: return {0.035, 0.9, 0.45, 0, QFont::Medium, 0};
    }
    return {0.035, 0.9, 0.45, 0, QFont::Medium, 0};
}

const QColor plateColour(14, 16, 22, 184);
const QColor accentColour(72, 152, 255);
constexpr double maximumTextWidth = 0.8;  // of the frame's width; longer text wraps
constexpr double accentWidth = 0.22;      // the lower third's stripe, in text sizes

}  // namespace

std::unique_ptr<TextCalloutLayer> TextCalloutLayer::forJob(const RenderJob& job)
{
    if (job.project.textCallouts.empty()) return nullptr;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        throw RenderError(RenderError::Kind::writerFailed, "Text callouts need Qt's font system to be drawn.");
    }
    return std::make_unique<TextCalloutLayer>(job.project.textCallouts, OutputTimeline(job.project));
}

TextCalloutLayer::TextCalloutLayer(std::vector<TextCallout> callouts, const OutputTimeline& timeline)
    : timeline_(timeline)
{
    for (TextCallout& callout : callouts) {
        Shown shown;
        shown.outputStart = timeline_.outputTimeAtOrAfter(callout.start);
        shown.outputEnd = timeline_.outputTimeAtOrAfter(callout.end);
        shown.callout = std::move(callout);
        shown_.push_back(std::move(shown));
    }
}

int TextCalloutLayer::fadeStepAt(std::size_t index, double time) const
{
    const Shown& shown = shown_.at(index);
    if (time < shown.callout.start || time >= shown.callout.end) return 0;
    // In output time, so a cut inside the span does not stretch or skip the fade.
    const double output = timeline_.outputTimeAtOrAfter(time);
    const double fromEdge = std::min(output - shown.outputStart, shown.outputEnd - output);
    const double opacity = std::clamp(fromEdge / fadeDuration, 0.0, 1.0);
    return static_cast<int>(std::lround(opacity * fadeSteps));
}

void TextCalloutLayer::prepare(Shown& shown, const QRectF& canvas)
{
    if (!shown.full.isNull() && shown.canvas == canvas) return;
    if (canvas != shown.canvas) ++canvasGeneration_;
    shown.canvas = canvas;
    shown.canvasGeneration = canvasGeneration_;
    shown.fadedStep = -1;

    const TextCallout& callout = shown.callout;
    const StyleLook look = lookOf(callout.style);
    const double shortSide = std::min(canvas.width(), canvas.height());
    QFont font = QGuiApplication::font();
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(std::max(8, static_cast<int>(std::lround(shortSide * look.textSize))));
    font.setWeight(look.weight);
    const double textSize = font.pixelSize();
    const double paddingX = textSize * look.horizontalPadding;
    const double paddingY = textSize * look.verticalPadding;
    const double accent = callout.style == TextCalloutStyle::lowerThird ? textSize * accentWidth : 0;

    QTextOption option(callout.style == TextCalloutStyle::lowerThird ? Qt::AlignLeft | Qt::AlignVCenter
                                                                      : Qt::AlignHCenter | Qt::AlignVCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    const QString text = QString::fromStdString(callout.text);
    const double wrapWidth = std::max(textSize, canvas.width() * maximumTextWidth - 2 * paddingX - accent);
    QImage probe(1, 1, QImage::Format_ARGB32_Premultiplied);
    QRectF textBounds;
    {
        QPainter painter(&probe);
        painter.setFont(font);
        textBounds = painter.boundingRect(QRectF(0, 0, wrapWidth, 1e6), text, option);
    }
    const double plateWidth = std::min(std::max(textBounds.width() + 2 * paddingX + accent,
                                                canvas.width() * look.minimumWidth),
                                       canvas.width() * 0.9);
    const double plateHeight = textBounds.height() + 2 * paddingY;

    // The callout's centre: where the user put it, else the style's own place.
    QPointF centre;
    if (callout.position) {
        centre = {canvas.x() + callout.position->x * canvas.width(), canvas.y() + callout.position->y * canvas.height()};
    } else {
        switch (callout.style) {
        case TextCalloutStyle::title: centre = canvas.center(); break;
        case TextCalloutStyle::lowerThird:
            centre = {canvas.x() + canvas.width() * 0.06 + plateWidth / 2,
                      canvas.bottom() - canvas.height() * 0.1 - plateHeight / 2};
            break;
        case TextCalloutStyle::label:
            centre = {canvas.center().x(), canvas.y() + canvas.height() * 0.08 + plateHeight / 2};
            break;
        }
    }
    // Kept whole inside the frame where it fits, so a callout dragged to an edge stays readable.
    const auto keptInside = [](double middle, double length, double low, double high) {
        if (length >= high - low) return (low + high) / 2;
        return std::clamp(middle, low + length / 2, high - length / 2);
    };
    centre.setX(keptInside(centre.x(), plateWidth, canvas.left(), canvas.right()));
    centre.setY(keptInside(centre.y(), plateHeight, canvas.top(), canvas.bottom()));
    const QRectF plate(centre.x() - plateWidth / 2, centre.y() - plateHeight / 2, plateWidth, plateHeight);
    shown.rect = plate.toAlignedRect().adjusted(-1, -1, 1, 1);

    shown.full = QImage(shown.rect.size(), QImage::Format_ARGB32_Premultiplied);
    if (shown.full.isNull()) throw RenderError::pixelBufferCreationFailed();
    shown.full.fill(Qt::transparent);
    QPainter painter(&shown.full);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.translate(-QPointF(shown.rect.topLeft()));
    const double radius = callout.style == TextCalloutStyle::label ? plateHeight / 2 : textSize * look.cornerRadius;
    QPainterPath platePath;
    platePath.addRoundedRect(plate, radius, radius);
    painter.fillPath(platePath, plateColour);
    if (accent > 0) {
        painter.save();
        painter.setClipPath(platePath);
        painter.fillRect(QRectF(plate.left(), plate.top(), accent, plate.height()), accentColour);
        painter.restore();
    }
    painter.setFont(font);
    painter.setPen(Qt::white);
    // As wide as the text was measured in, so it breaks into the same lines.
    const double textLeft = callout.style == TextCalloutStyle::lowerThird ? plate.left() + paddingX + accent
                                                                         : plate.center().x() - wrapWidth / 2;
    painter.drawText(QRectF(textLeft, plate.top() + paddingY, wrapWidth, textBounds.height()), text, option);
}

QRect TextCalloutLayer::placedRect(std::size_t index, const QRectF& canvas)
{
    Shown& shown = shown_.at(index);
    prepare(shown, canvas);
    return shown.rect;
}

std::vector<OverlayTile> TextCalloutLayer::tilesAt(double time, const QRectF& canvas, TileForm)
{
    std::vector<OverlayTile> tiles;
    for (std::size_t index = 0; index < shown_.size(); ++index) {
        const int step = fadeStepAt(index, time);
        if (step == 0) continue;
        Shown& shown = shown_[index];
        prepare(shown, canvas);
        const QImage* image = &shown.full;
        if (step < fadeSteps) {
            if (shown.fadedStep != step) {
                if (shown.faded.size() != shown.full.size()) {
                    shown.faded = QImage(shown.full.size(), QImage::Format_ARGB32_Premultiplied);
                    if (shown.faded.isNull()) throw RenderError::pixelBufferCreationFailed();
                }
                shown.faded.fill(Qt::transparent);
                QPainter painter(&shown.faded);
                painter.setOpacity(static_cast<double>(step) / fadeSteps);
                painter.drawImage(0, 0, shown.full);
                shown.fadedStep = step;
            }
            image = &shown.faded;
        }
        // Distinct for every callout, opacity step and canvas, so an unchanged frame is reused.
        const std::int64_t content =
            (shown.canvasGeneration * static_cast<std::int64_t>(shown_.size()) + static_cast<std::int64_t>(index)) *
                (fadeSteps + 1) +
            step;
        tiles.push_back(OverlayTile{shown.rect, content, image, nullptr});
    }
    return tiles;
}

}  // namespace vantile
