#include "capture/camera/V4l2CameraStream.h"

#include "capture/camera/CameraError.h"
#include "capture/camera/CameraPictureConverter.h"
#include "media/FfmpegHandles.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

#include <mutex>

namespace vantile {

void registerMediaDevices()
{
    static std::once_flag registered;
    std::call_once(registered, [] { avdevice_register_all(); });
}

struct V4l2CameraStream::Device {
    InputFormatHandle input;
    CodecContextHandle decoder;
    SwsContextHandle scaler;
    int stream = -1;
};

namespace {

// The device's own format at 720p30 when it has it; otherwise whatever it offers by default.
AVFormatContext* openDevice(const std::string& path, const AVInputFormat* format)
{
    for (const bool preferred : {true, false}) {
        AVDictionary* options = nullptr;
        if (preferred) {
            av_dict_set(&options, "video_size", "1280x720", 0);
            av_dict_set(&options, "framerate", "30", 0);
        }
        AVFormatContext* opened = nullptr;
        const int result = avformat_open_input(&opened, path.c_str(), format, &options);
        av_dict_free(&options);
        if (result >= 0) return opened;
    }
    return nullptr;
}

}  // namespace

V4l2CameraStream::V4l2CameraStream(const std::string& devicePath) : device_(std::make_unique<Device>())
{
    registerMediaDevices();
    const AVInputFormat* format = av_find_input_format("video4linux2");
    AVFormatContext* opened = format ? openDevice(devicePath, format) : nullptr;
    if (!opened) throw CameraError::noPicture();
    device_->input.reset(opened);
    if (avformat_find_stream_info(opened, nullptr) < 0) throw CameraError::noPicture();
    device_->stream = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (device_->stream < 0) throw CameraError::noPicture();
    const AVCodecParameters* parameters = opened->streams[device_->stream]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec) throw CameraError::noPicture();
    device_->decoder.reset(avcodec_alloc_context3(codec));
    if (!device_->decoder || avcodec_parameters_to_context(device_->decoder.get(), parameters) < 0 ||
        avcodec_open2(device_->decoder.get(), codec, nullptr) < 0)
        throw CameraError::noPicture();
    thread_ = std::thread([this] { run(); });
}

V4l2CameraStream::~V4l2CameraStream()
{
    stop_ = true;
    if (thread_.joinable()) thread_.join();
}

void V4l2CameraStream::run()
{
    const PacketHandle packet = allocatePacket();
    const FrameHandle frame = allocateFrame();
    CameraPicture working;
    std::uint64_t sequence = 0;
    while (!stop_) {
        // A read error is the device gone (unplugged) or failing: the camera ends there.
        if (av_read_frame(device_->input.get(), packet.get()) < 0) break;
        const auto arrived = std::chrono::steady_clock::now();
        const bool ours = packet->stream_index == device_->stream;
        const int sent = ours ? avcodec_send_packet(device_->decoder.get(), packet.get()) : -1;
        av_packet_unref(packet.get());
        if (sent < 0 || avcodec_receive_frame(device_->decoder.get(), frame.get()) < 0) continue;
        const CameraSize size = CameraPictureConverter::recordedSize({frame->width, frame->height});
        if (working.frame.width != size.width || working.frame.height != size.height)
            working.frame = PlanarFrame(size.width, size.height);
        device_->scaler.reset(sws_getCachedContext(device_->scaler.release(), frame->width, frame->height,
                                                   static_cast<AVPixelFormat>(frame->format), size.width, size.height,
                                                   AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!device_->scaler) break;
        std::uint8_t* const targets[4] = {working.frame.luma.data(), working.frame.blueDifference.data(),
                                          working.frame.redDifference.data(), nullptr};
        const int strides[4] = {working.frame.lumaStride(), working.frame.chromaStride(), working.frame.chromaStride(), 0};
        sws_scale(device_->scaler.get(), frame->data, frame->linesize, 0, frame->height, targets, strides);
        av_frame_unref(frame.get());
        working.sequence = ++sequence;
        working.time = arrived;
        const std::lock_guard lock(mutex_);
        std::swap(working, newest_);
        changed_.notify_all();
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

bool V4l2CameraStream::waitForFirstPicture(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return ended_ || newest_.sequence > 0; });
    return newest_.sequence > 0;
}

bool V4l2CameraStream::takeNewest(CameraPicture& into)
{
    const std::lock_guard lock(mutex_);
    if (newest_.sequence <= into.sequence) return false;
    std::swap(into, newest_);
    return true;
}

bool V4l2CameraStream::ended() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

}  // namespace vantile
