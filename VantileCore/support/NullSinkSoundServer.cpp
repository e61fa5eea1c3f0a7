#include "support/NullSinkSoundServer.h"

#include <pulse/pulseaudio.h>

#include <stdexcept>
#include <thread>

namespace vantile {

namespace {

bool answers(const std::string& address)
{
    pa_mainloop* loop = pa_mainloop_new();
    pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "Vantile probe");
    bool ready = false;
    if (pa_context_connect(context, address.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0) {
        for (int iteration = 0; iteration < 200; ++iteration) {
            const pa_context_state_t state = pa_context_get_state(context);
            if (state == PA_CONTEXT_READY) {
                ready = true;
                break;
            }
            if (!PA_CONTEXT_IS_GOOD(state)) break;
            pa_mainloop_iterate(loop, 1, nullptr);
        }
    }
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_mainloop_free(loop);
    return ready;
}

}  // namespace

NullSinkSoundServer::NullSinkSoundServer(const std::filesystem::path& runtimeDirectory)
{
    std::filesystem::create_directories(runtimeDirectory);
    const std::filesystem::path socket = runtimeDirectory / "native";
    // sockaddr_un holds 108 bytes; a longer path would fail only once the daemon is up.
    if (socket.string().size() >= 108) throw std::runtime_error("sound server path too long: " + socket.string());
    serverAddress_ = "unix:" + socket.string();
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                                 "--disallow-exit", "-L", "module-null-sink sink_name=vantile_null",
                                 "-L", "module-native-protocol-unix auth-anonymous=1 socket=" + socket.string(),
                                 "-L", "module-always-sink"},
        ChildProcess::Options{.environment = {"PULSE_RUNTIME_PATH=" + runtimeDirectory.string(),
                                              "PULSE_STATE_PATH=" + runtimeDirectory.string(),
                                              "HOME=" + runtimeDirectory.string()}});
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (std::filesystem::exists(socket) && answers(serverAddress_)) return;
        if (!daemon_->isRunning()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    throw std::runtime_error("the sound server (pulseaudio) did not start");
}

}  // namespace vantile
