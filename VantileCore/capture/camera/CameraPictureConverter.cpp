#include "capture/camera/CameraPictureConverter.h"

#include "media/FfmpegHandles.h"

#include <libyuv/convert.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace vantile {

struct CameraPictureConverter::Decoder {
    CodecContextHandle codec;
    PacketHandle packet = allocatePacket();
    FrameHandle frame = allocateFrame();
    SwsContextHandle scaler;
    std::vector<std::uint8_t> padded;
};

CameraSize CameraPictureConverter::recordedSize(CameraSize cameraSize)
{
    const double scale = std::min({1.0, double(largestSize.width) / std::max(cameraSize.width, 1),
                                   double(largestSize.height) / std::max(cameraSize.height, 1)});
    const auto even = [](double length) { return std::max(2, static_cast<int>(length) / 2 * 2); };
    return {even(cameraSize.width * scale), even(cameraSize.height * scale)};
}

CameraPictureConverter::CameraPictureConverter(Format format, CameraSize cameraSize)
    : format_(format), camera_(cameraSize), recorded_(recordedSize(cameraSize))
{
    if (recorded_ != camera_) cameraSized_ = PlanarFrame(camera_.width, camera_.height);
    if (format_ == Format::mjpeg) {
        decoder_ = std::make_unique<Decoder>();
        const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
        if (codec) decoder_->codec.reset(avcodec_alloc_context3(codec));
        if (!decoder_->codec || avcodec_open2(decoder_->codec.get(), codec, nullptr) < 0) decoder_->codec.reset();
    }
}

CameraPictureConverter::~CameraPictureConverter() = default;

bool CameraPictureConverter::convert(const std::uint8_t* const planes[3], const int strides[3], std::size_t size,
                                     PlanarFrame& into)
{
    if (into.width != recorded_.width || into.height != recorded_.height) into = PlanarFrame(recorded_.width, recorded_.height);
    if (format_ == Format::mjpeg) return decodeMjpeg(planes[0], size, into);
    if (recorded_ == camera_) return convertRaw(planes, strides, size, into);
    if (!convertRaw(planes, strides, size, cameraSized_)) return false;
    scaleInto(cameraSized_, into);
    return true;
}

bool CameraPictureConverter::convertRaw(const std::uint8_t* const planes[3], const int strides[3], std::size_t size,
                                        PlanarFrame& into)
{
    const int width = camera_.width;
    const int height = camera_.height;
    const int chromaHeight = (height + 1) / 2;
    std::uint8_t* luma = into.luma.data();
    std::uint8_t* blue = into.blueDifference.data();
    std::uint8_t* red = into.redDifference.data();
    const int lumaStride = into.lumaStride();
    const int chromaStride = into.chromaStride();
    switch (format_) {
    case Format::yuy2:
    case Format::uyvy: {
        const int stride = strides[0] > 0 ? strides[0] : width * 2;
        if (size < std::size_t(stride) * std::size_t(height)) return false;
        const auto convertPacked = format_ == Format::yuy2 ? libyuv::YUY2ToI420 : libyuv::UYVYToI420;
        return convertPacked(planes[0], stride, luma, lumaStride, blue, chromaStride, red, chromaStride, width,
                             height) == 0;
    }
    case Format::nv12: {
        const int stride = strides[0] > 0 ? strides[0] : width;
        // One buffer holds both planes unless the camera hands them separately.
        const std::uint8_t* chroma = planes[1] ? planes[1] : planes[0] + std::size_t(stride) * std::size_t(height);
        const int chromaSourceStride = planes[1] && strides[1] > 0 ? strides[1] : stride;
        if (!planes[1] && size < std::size_t(stride) * std::size_t(height + chromaHeight)) return false;
        return libyuv::NV12ToI420(planes[0], stride, chroma, chromaSourceStride, luma, lumaStride, blue, chromaStride,
                                  red, chromaStride, width, height) == 0;
    }
    case Format::i420: {
        const int stride = strides[0] > 0 ? strides[0] : width;
        const int sourceChromaStride = planes[1] && strides[1] > 0 ? strides[1] : (stride + 1) / 2;
        const std::uint8_t* sourceBlue =
            planes[1] ? planes[1] : planes[0] + std::size_t(stride) * std::size_t(height);
        const std::uint8_t* sourceRed =
            planes[2] ? planes[2] : sourceBlue + std::size_t(sourceChromaStride) * std::size_t(chromaHeight);
        if (!planes[1] &&
            size < std::size_t(stride) * std::size_t(height) + 2 * std::size_t(sourceChromaStride) * std::size_t(chromaHeight))
            return false;
        return libyuv::I420Copy(planes[0], stride, sourceBlue, sourceChromaStride, sourceRed, sourceChromaStride, luma,
                                lumaStride, blue, chromaStride, red, chromaStride, width, height) == 0;
    }
    case Format::mjpeg:
        break;
    }
    return false;
}

void CameraPictureConverter::scaleInto(const PlanarFrame& source, PlanarFrame& into)
{
    libyuv::I420Scale(source.luma.data(), source.lumaStride(), source.blueDifference.data(), source.chromaStride(),
                      source.redDifference.data(), source.chromaStride(), source.width, source.height,
                      into.luma.data(), into.lumaStride(), into.blueDifference.data(), into.chromaStride(),
                      into.redDifference.data(), into.chromaStride(), into.width, into.height,
                      libyuv::kFilterBilinear);
}

bool CameraPictureConverter::decodeMjpeg(const std::uint8_t* data, std::size_t size, PlanarFrame& into)
{
    Decoder& decoder = *decoder_;
    if (!decoder.codec || size == 0) return false;
    // The decoder may read a little past the end of its input.
    decoder.padded.assign(data, data + size);
    decoder.padded.resize(size + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    decoder.packet->data = decoder.padded.data();
    decoder.packet->size = static_cast<int>(size);
    const int sent = avcodec_send_packet(decoder.codec.get(), decoder.packet.get());
    decoder.packet->data = nullptr;
    decoder.packet->size = 0;
    if (sent < 0 || avcodec_receive_frame(decoder.codec.get(), decoder.frame.get()) < 0) return false;
    const AVFrame* frame = decoder.frame.get();
    // MJPEG is full-range; the recorded movie is limited-range like the screen's.
    decoder.scaler.reset(sws_getCachedContext(decoder.scaler.release(), frame->width, frame->height,
                                              static_cast<AVPixelFormat>(frame->format), into.width, into.height,
                                              AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!decoder.scaler) return false;
    std::uint8_t* const targets[4] = {into.luma.data(), into.blueDifference.data(), into.redDifference.data(), nullptr};
    const int targetStrides[4] = {into.lumaStride(), into.chromaStride(), into.chromaStride(), 0};
    sws_scale(decoder.scaler.get(), frame->data, frame->linesize, 0, frame->height, targets, targetStrides);
    av_frame_unref(decoder.frame.get());
    return true;
}

}  // namespace vantile
