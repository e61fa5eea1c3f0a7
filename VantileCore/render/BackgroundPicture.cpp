#include "render/BackgroundPicture.h"
#include "render/BackgroundImport.h"

#include "render/RenderError.h"
#include "render/ShadowPainter.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

namespace vantile {

namespace {

RenderError unreadable(const std::filesystem::path& file, const std::string& reason)
{
    return {RenderError::Kind::fileSystem, "Cannot use " + file.string() + " as the background: " + reason + "."};
}

QImage readPicture(const std::filesystem::path& file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) throw unreadable(file, "no such file");
    QImageReader reader(QString::fromStdString(file.string()));
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && std::max(size.width(), size.height()) > BackgroundPicture::largestSide) {
        reader.setScaledSize(size.scaled(BackgroundPicture::largestSide, BackgroundPicture::largestSide,
                                         Qt::KeepAspectRatio));
    }
    QImage picture = reader.read();
    if (picture.isNull()) throw unreadable(file, reader.errorString().toLower().toStdString());
    return picture.convertToFormat(QImage::Format_RGB32);
}

// Three box passes per channel; the caller keeps a margin so the zeros beyond the edges never show.
void blurChannels(QImage& image, double sigma)
{
    const int width = image.width();
    const int height = image.height();
    std::vector<float> plane(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (const int shift : {16, 8, 0}) {
        for (int y = 0; y < height; ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
            for (int x = 0; x < width; ++x) {
                plane[static_cast<std::size_t>(y) * width + x] = static_cast<float>((line[x] >> shift) & 0xFF);
            }
        }
        ShadowPainter::blurAlphaPlane(plane.data(), width, height, sigma);
        for (int y = 0; y < height; ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < width; ++x) {
                const float value = std::clamp(plane[static_cast<std::size_t>(y) * width + x], 0.0F, 255.0F);
                const auto level = static_cast<QRgb>(value + 0.5F);
                line[x] = (line[x] & ~(0xFFU << shift)) | (level << shift);
            }
        }
    }
}

QImage covering(const QImage& picture, QSize size)
{
    const QSize scaled = picture.size().scaled(size, Qt::KeepAspectRatioByExpanding);
    const QImage resized = picture.scaled(scaled, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return resized.copy((scaled.width() - size.width()) / 2, (scaled.height() - size.height()) / 2, size.width(),
                        size.height());
}

}  // namespace

BackgroundPicture::BackgroundPicture(const std::filesystem::path& file) : picture_(readPicture(file)) {}

std::shared_ptr<const BackgroundPicture> BackgroundPicture::forSettings(const RenderSettings& settings,
                                                                        const std::filesystem::path& projectDirectory)
{
    if (settings.background.kind != BackgroundChoice::Kind::image) return nullptr;
    const std::filesystem::path path(settings.background.imagePath);
    return std::make_shared<const BackgroundPicture>(path.is_absolute() ? path : projectDirectory / path);
}

std::string adoptBackgroundImage(const std::filesystem::path& image, const std::filesystem::path& projectDirectory)
{
    readPicture(image);
    std::ifstream input(image, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    if (!input && !input.eof()) throw unreadable(image, "it cannot be read");
    char digest[17];
    std::snprintf(digest, sizeof digest, "%016zx", std::hash<std::string>{}(bytes));
    std::string extension = image.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const std::filesystem::path relative =
        std::filesystem::path(".vantile") / "backgrounds" / (std::string("background-") + digest + extension);
    const std::filesystem::path target = projectDirectory / relative;
    std::error_code error;
    if (std::filesystem::exists(target, error)) return relative.generic_string();
    std::filesystem::create_directories(target.parent_path(), error);
    if (error) throw unreadable(image, "the project folder cannot take a copy (" + error.message() + ")");
    // Written beside the target and renamed, so a half-copied picture never takes its name.
    const std::filesystem::path partial = target.string() + ".partial";
    {
        std::ofstream output(partial, std::ios::binary | std::ios::trunc);
        output.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        output.close();
        if (!output) {
            std::filesystem::remove(partial, error);
            throw unreadable(image, "the project folder cannot take a copy");
        }
    }
    std::filesystem::rename(partial, target, error);
    if (error) {
        std::filesystem::remove(partial, error);
        throw unreadable(image, "the project folder cannot take a copy");
    }
    return relative.generic_string();
}

QImage BackgroundPicture::coverFor(QSize size, double blur) const
{
    std::lock_guard lock(mutex_);
    if (size == coverSize_ && blur == coverBlur_) return cover_;
    const double sigma = blur * std::min(size.width(), size.height()) / 1080.0;
    if (sigma < 0.5) {
        cover_ = covering(picture_, size);
    } else {
        // A wide blur keeps no detail, so it is made on a smaller picture and scaled back up.
        const double shrink = std::max(1.0, sigma / 4);
        const QSize small(std::max(1, static_cast<int>(std::ceil(size.width() / shrink))),
                          std::max(1, static_cast<int>(std::ceil(size.height() / shrink))));
        const double smallSigma = sigma / shrink;
        const int margin = static_cast<int>(std::ceil(3 * smallSigma)) + 2;
        QImage work = covering(picture_, small + QSize(2 * margin, 2 * margin));
        blurChannels(work, smallSigma);
        cover_ = work.copy(margin, margin, small.width(), small.height())
                     .scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    coverSize_ = size;
    coverBlur_ = blur;
    return cover_;
}

}  // namespace vantile
