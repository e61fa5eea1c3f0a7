#include "render/GeneratedWallpaper.h"

#include "model/BackgroundChoice.h"

#include <QLinearGradient>
#include <QRadialGradient>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace vantile::GeneratedWallpaper {

namespace {

struct Palette {
    std::uint32_t washFrom;
    std::uint32_t washTo;
    std::array<std::uint32_t, 4> blobs;
    double blobAlpha;
};

// Dark ones first, as the templates are; then light ones.
constexpr std::array<Palette, BackgroundChoice::generatedCount> palettes{{
    {0x0F172A, 0x1E1B4B, {0x14B8A6, 0x8B5CF6, 0x3B82F6, 0xEC4899}, 0.55},  // aurora
    {0x1F1147, 0x3B0A45, {0xF97316, 0xF43F5E, 0xFBBF24, 0xA855F7}, 0.55},  // sunset
    {0x082F49, 0x0C4A6E, {0x22D3EE, 0x38BDF8, 0x6366F1, 0x34D399}, 0.50},  // ocean
    {0x052E16, 0x14532D, {0x22C55E, 0x84CC16, 0x0D9488, 0xFACC15}, 0.45},  // forest
    {0x111827, 0x1F2937, {0x4B5563, 0x0EA5E9, 0x374151, 0x6B7280}, 0.60},  // graphite
    {0xFFF1E6, 0xFDE2E4, {0xFBC4AB, 0xF8AD9D, 0xCDB4DB, 0xFFD6A5}, 0.85},  // peach
    {0xECFDF5, 0xE0F2FE, {0xA7F3D0, 0xBAE6FD, 0xC7D2FE, 0xFDE68A}, 0.85},  // mint
    {0xEDE9FE, 0xFCE7F3, {0xC4B5FD, 0xF9A8D4, 0xA5B4FC, 0xFBCFE8}, 0.85},  // lavender
}};

QColor colorOf(std::uint32_t hex, double alpha)
{
    return QColor::fromRgbF(static_cast<float>(((hex >> 16) & 0xFF) / 255.0),
                            static_cast<float>(((hex >> 8) & 0xFF) / 255.0), static_cast<float>((hex & 0xFF) / 255.0),
                            static_cast<float>(alpha));
}

// A fixed sequence per wallpaper, so each is the same picture every time it is drawn.
class Sequence {
public:
    explicit Sequence(int seed) : state_(0x9E3779B97F4A7C15ULL * static_cast<std::uint64_t>(seed + 1)) {}
    double next()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<double>(state_ >> 11) / 9007199254740992.0;
    }

private:
    std::uint64_t state_;
};

}  // namespace

void paint(QPainter& painter, const QRectF& canvas, int index)
{
    const Palette& palette = palettes[static_cast<std::size_t>(std::clamp(index, 1, BackgroundChoice::generatedCount) - 1)];
    Sequence sequence(index);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QLinearGradient wash(canvas.topLeft(), canvas.bottomRight());
    wash.setColorAt(0, colorOf(palette.washFrom, 1));
    wash.setColorAt(1, colorOf(palette.washTo, 1));
    painter.fillRect(canvas, wash);
    const double diagonal = std::hypot(canvas.width(), canvas.height());
    for (std::size_t blob = 0; blob < palette.blobs.size(); ++blob) {
        // One blob near each corner's side of the frame, so none leaves a large plain area.
        const double cornerX = blob % 2 == 0 ? 0.25 : 0.75;
        const double cornerY = blob < 2 ? 0.25 : 0.75;
        const QPointF centre(canvas.x() + canvas.width() * (cornerX + (sequence.next() - 0.5) * 0.4),
                             canvas.y() + canvas.height() * (cornerY + (sequence.next() - 0.5) * 0.4));
        const double radius = diagonal * (0.28 + 0.14 * sequence.next());
        const double stretch = 0.6 + 0.4 * sequence.next();
        const double angle = 180 * sequence.next();
        QRadialGradient glow(QPointF(0, 0), radius);
        const QColor colour = colorOf(palette.blobs[blob], palette.blobAlpha);
        glow.setColorAt(0, colour);
        glow.setColorAt(0.45, colorOf(palette.blobs[blob], palette.blobAlpha * 0.55));
        glow.setColorAt(1, colorOf(palette.blobs[blob], 0));
        painter.save();
        painter.translate(centre);
        painter.rotate(angle);
        painter.scale(1, stretch);
        painter.setBrush(glow);
        painter.drawEllipse(QPointF(0, 0), radius, radius);
        painter.restore();
    }
    painter.restore();
}

}  // namespace vantile::GeneratedWallpaper
