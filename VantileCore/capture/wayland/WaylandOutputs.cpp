#include "capture/wayland/WaylandOutputs.h"

#include "capture/RecordingError.h"

#include <wayland-client.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace vantile {

namespace {

struct Output {
    wl_output* handle = nullptr;
    std::uint32_t globalName = 0;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int scale = 1;
    std::string name;
    std::string description;
};

void onGeometry(void* data, wl_output*, int32_t x, int32_t y, int32_t, int32_t, int32_t, const char*, const char* model,
                int32_t)
{
    auto* output = static_cast<Output*>(data);
    output->x = x;
    output->y = y;
    if (output->description.empty() && model) output->description = model;
}

void onMode(void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t)
{
    auto* output = static_cast<Output*>(data);
    if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
    output->width = width;
    output->height = height;
}

void onDone(void*, wl_output*) {}

void onScale(void* data, wl_output*, int32_t factor) { static_cast<Output*>(data)->scale = factor > 0 ? factor : 1; }

void onName(void* data, wl_output*, const char* name) { static_cast<Output*>(data)->name = name; }

void onDescription(void* data, wl_output*, const char* description)
{
    static_cast<Output*>(data)->description = description;
}

const wl_output_listener outputListener{onGeometry, onMode, onDone, onScale, onName, onDescription};

struct Registry {
    std::vector<std::unique_ptr<Output>> outputs;
};

void onGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version)
{
    if (std::strcmp(interface, wl_output_interface.name) != 0) return;
    auto output = std::make_unique<Output>();
    output->globalName = name;
    output->handle = static_cast<wl_output*>(
        wl_registry_bind(registry, name, &wl_output_interface, std::min<uint32_t>(version, 4)));
    wl_output_add_listener(output->handle, &outputListener, output.get());
    static_cast<Registry*>(data)->outputs.push_back(std::move(output));
}

void onGlobalRemove(void*, wl_registry*, uint32_t) {}

const wl_registry_listener registryListener{onGlobal, onGlobalRemove};

// libwayland prints a line of its own when it cannot form the socket's path; say it once, here.
void requireSocketSettings(const std::optional<std::string>& displayName)
{
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value ? value : "");
    };
    if (!variable("WAYLAND_SOCKET").empty()) return;  // a connection handed over by the parent
    const std::string name = displayName && !displayName->empty() ? *displayName : variable("WAYLAND_DISPLAY");
    if (name.empty()) throw RecordingError::displayNotSet("WAYLAND_DISPLAY");
    if (name.front() != '/' && !variable("XDG_RUNTIME_DIR").starts_with('/')) {
        throw std::runtime_error(
            "Cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is unset or not an absolute path.");
    }
}

}  // namespace

std::vector<ListedDisplay> listWaylandOutputs(const std::optional<std::string>& displayName)
{
    requireSocketSettings(displayName);
    const std::unique_ptr<wl_display, decltype(&wl_display_disconnect)> display(
        wl_display_connect(displayName ? displayName->c_str() : nullptr), &wl_display_disconnect);
    if (!display) throw std::runtime_error("Cannot connect to the Wayland compositor.");
    Registry registry;
    wl_registry* globals = wl_display_get_registry(display.get());
    wl_registry_add_listener(globals, &registryListener, &registry);
    // The first round trip announces the outputs, the second delivers their properties.
    const bool answered = wl_display_roundtrip(display.get()) >= 0 && wl_display_roundtrip(display.get()) >= 0;

    std::vector<ListedDisplay> displays;
    for (const auto& output : registry.outputs) {
        if (answered && output->width > 0 && output->height > 0) {
            displays.push_back({
                .number = displays.size() + 1,
                .name = !output->description.empty() ? output->description : output->name,
                .frame = {double(output->x), double(output->y), double(output->width) / output->scale,
                          double(output->height) / output->scale},
                .scaleFactor = double(output->scale),
            });
        }
        if (wl_output_get_version(output->handle) >= WL_OUTPUT_RELEASE_SINCE_VERSION)
            wl_output_release(output->handle);
        else
            wl_output_destroy(output->handle);
    }
    wl_registry_destroy(globals);
    if (!answered) throw std::runtime_error("The Wayland compositor stopped answering.");
    return displays;
}

}  // namespace vantile
