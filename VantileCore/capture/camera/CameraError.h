#pragma once

#include <stdexcept>
#include <string>

namespace vantile {

// Why no camera is recorded, in the sentence the user reads. The recording itself goes on
// without the camera, so each sentence also says so and what to do.
class CameraError : public std::runtime_error {
public:
    enum class Kind { notFound, noCameras, noPicture, refused, stopped };

    static CameraError notFound(const std::string& id)
    {
        return {Kind::notFound, "找不到摄像头 " + id +
                                    "。请确认摄像头已连接，并用 vantile-cli sources 查看可用的摄像头；本次录制不含摄像头。"};
    }
    static CameraError noCameras()
    {
        return {Kind::noCameras,
                "没有找到可用的摄像头。请连接摄像头并确认 PipeWire 正在运行；本次录制不含摄像头。"};
    }
    // Nothing came from a camera that was found: another program holds it, or access was refused.
    static CameraError noPicture()
    {
        return {Kind::noPicture, "摄像头没有送出画面，可能正被其他应用占用或访问被拒绝。请关闭其他使用摄像头的应用、"
                                 "允许访问摄像头，或重新插拔摄像头后再录制；本次录制不含摄像头。"};
    }
    static CameraError refused()
    {
        return {Kind::refused, "没有获得使用摄像头的许可。请在系统设置的隐私（摄像头）中允许 Vantile 使用摄像头，"
                               "然后重新开始录制；本次录制不含摄像头。"};
    }
    // A reason the lister already put in the user's words.
    static CameraError unavailable(const std::string& message) { return {Kind::refused, message}; }
    // The camera went away mid-take: camera.mov ends there, the screen recording went on.
    static CameraError stopped(double seconds)
    {
        return {Kind::stopped, "摄像头在录制中断开，摄像头画面只录到第 " + std::to_string(static_cast<long>(seconds)) +
                                   " 秒，屏幕录制已完整保存。请检查摄像头的连接后再录制。"};
    }

    Kind kind() const { return kind_; }

private:
    CameraError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

    Kind kind_;
};

}  // namespace vantile
