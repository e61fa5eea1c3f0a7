#pragma once

#include "capture/PlanarFrame.h"
#include "capture/camera/CameraDevice.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantile {

// Turns the pictures a camera sends (packed or planar YUV, or MJPEG) into 4:2:0 planes at the
// recorded size: the camera's own, fitted into 1280x720 and made even.
class CameraPictureConverter {
public:
    enum class Format { yuy2, uyvy, nv12, i420, mjpeg };

    static constexpr CameraSize largestSize{1280, 720};
    static CameraSize recordedSize(CameraSize cameraSize);

    CameraPictureConverter(Format format, CameraSize cameraSize);
    ~CameraPictureConverter();
    CameraPictureConverter(const CameraPictureConverter&) = delete;
    CameraPictureConverter& operator=(const CameraPictureConverter&) = delete;

    // planes/strides: one entry for packed formats and MJPEG (size = its byte count), two for
    // NV12, three for I420. False when the data is too short or does not decode.
    bool convert(const std::uint8_t* const planes[3], const int strides[3], std::size_t size, PlanarFrame& into);

    CameraSize recordedSize() const { return recorded_; }

private:
    bool convertRaw(const std::uint8_t* const planes[3], const int strides[3], std::size_t size, PlanarFrame& into);
    bool decodeMjpeg(const std::uint8_t* data, std::size_t size, PlanarFrame& into);
    void scaleInto(const PlanarFrame& source, PlanarFrame& into);

    Format format_;
    CameraSize camera_;
    CameraSize recorded_;
    PlanarFrame cameraSized_;  // when the recorded size differs
    struct Decoder;
    std::unique_ptr<Decoder> decoder_;
};

}  // namespace vantile
