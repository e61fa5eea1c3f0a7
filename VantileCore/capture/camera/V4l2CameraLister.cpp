#include "capture/camera/V4l2CameraLister.h"

#include "capture/camera/V4l2CameraStream.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

#include <filesystem>
#include <memory>

namespace vantile {

namespace {

// /dev/videoN numbers follow the order devices were plugged in; udev's by-id link names the
// device itself.
std::string stableName(const std::string& devicePath)
{
    std::error_code error;
    const std::filesystem::path device = std::filesystem::canonical(devicePath, error);
    if (!error) {
        for (const auto& entry : std::filesystem::directory_iterator("/dev/v4l/by-id", error)) {
            std::error_code ignored;
            if (std::filesystem::canonical(entry.path(), ignored) == device && !ignored)
                return entry.path().filename().string();
        }
    }
    return std::filesystem::path(devicePath).filename().string();
}

struct DeviceListDeleter {
    void operator()(AVDeviceInfoList* list) const { avdevice_free_list_devices(&list); }
};

}  // namespace

std::vector<CameraDevice> V4l2CameraLister::cameras()
{
    registerMediaDevices();
    const AVInputFormat* input = av_find_input_format("video4linux2");
    if (!input) return {};
    AVDeviceInfoList* listed = nullptr;
    // No /dev/video* (or none that captures) is no cameras, not an error.
    if (avdevice_list_input_sources(input, nullptr, nullptr, &listed) < 0 || !listed) return {};
    const std::unique_ptr<AVDeviceInfoList, DeviceListDeleter> devices(listed);
    std::vector<CameraDevice> cameras;
    for (int index = 0; index < devices->nb_devices; ++index) {
        const AVDeviceInfo& device = *devices->devices[index];
        if (!device.device_name) continue;
        CameraDevice camera;
        camera.id = cameraIdentifier(stableName(device.device_name));
        camera.title = device.device_description ? device.device_description : device.device_name;
        camera.devicePath = device.device_name;
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

std::unique_ptr<CameraStream> V4l2CameraLister::start(const CameraDevice& camera)
{
    return std::make_unique<V4l2CameraStream>(camera.devicePath);
}

}  // namespace vantile
