#include "capture/camera/PipeWireCameraLister.h"

#include "capture/camera/PipeWireCameraStream.h"

#include <pipewire/pipewire.h>
#include <spa/param/format-utils.h>
#include <spa/param/video/format.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace vantile {

namespace {

struct ListedNode {
    std::string name;
    std::string title;
    std::vector<CameraSize> sizes;
};

struct OutputPort {
    std::vector<CameraSize>* sizes = nullptr;  // its camera's, filled as the formats arrive
    pw_port* proxy = nullptr;
    spa_hook listener{};
};

// One connection to the daemon, walked through two round trips: the registry's globals, then
// the camera ports' formats.
struct Listing {
    pw_main_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_registry* registry = nullptr;
    spa_hook coreListener{};
    spa_hook registryListener{};
    pw_core_events coreEvents{};
    pw_registry_events registryEvents{};
    pw_port_events portEvents{};
    std::map<std::uint32_t, ListedNode> cameras;
    std::map<std::uint32_t, std::uint32_t> portNodes;  // output port -> its node
    std::vector<std::unique_ptr<OutputPort>> ports;
    int pendingSync = -1;
    bool askedFormats = false;
    // A portal's remote shows the cameras only once the session manager has granted them, a
    // moment after connecting: until the first one appears, the listing is not done.
    bool awaitCamera = false;
    bool awaitingCamera = false;

    ~Listing()
    {
        for (auto& port : ports) {
            spa_hook_remove(&port->listener);
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(port->proxy));
        }
        if (registry) {
            spa_hook_remove(&registryListener);
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
        }
        if (core) {
            spa_hook_remove(&coreListener);
            pw_core_disconnect(core);
        }
        if (context) pw_context_destroy(context);
        if (loop) pw_main_loop_destroy(loop);
    }
};

const char* property(const spa_dict* properties, const char* key)
{
    const char* value = properties ? spa_dict_lookup(properties, key) : nullptr;
    return value ? value : "";
}

void addSize(std::vector<CameraSize>& sizes, const spa_rectangle& rectangle)
{
    const CameraSize size{static_cast<int>(rectangle.width), static_cast<int>(rectangle.height)};
    if (size.width > 0 && size.height > 0 && std::find(sizes.begin(), sizes.end(), size) == sizes.end())
        sizes.push_back(size);
}

// A format's sizes: a fixed size or each listed one; of a range only its default, the size a
// stream would get without asking.
void readSizes(const spa_pod* format, std::vector<CameraSize>& sizes)
{
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (spa_format_parse(format, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video) return;
    const auto* object = reinterpret_cast<const spa_pod_object*>(format);
    const spa_pod_prop* sizeProperty = spa_pod_object_find_prop(object, nullptr, SPA_FORMAT_VIDEO_size);
    if (!sizeProperty) return;
    std::uint32_t count = 0;
    std::uint32_t choice = SPA_CHOICE_None;
    const spa_pod* values = spa_pod_get_values(&sizeProperty->value, &count, &choice);
    if (values->type != SPA_TYPE_Rectangle || count == 0) return;
    const auto* rectangles = static_cast<const spa_rectangle*>(SPA_POD_BODY_CONST(values));
    if (choice == SPA_CHOICE_Enum) {
        for (std::uint32_t index = 1; index < count; ++index) addSize(sizes, rectangles[index]);
    } else {
        addSize(sizes, rectangles[0]);
    }
}

}  // namespace

std::vector<CameraDevice> PipeWireCameraLister::cameras()
{
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });

    reachedDaemon_ = false;
    Listing listing;
    listing.loop = pw_main_loop_new(nullptr);
    if (!listing.loop) return {};
    listing.context = pw_context_new(pw_main_loop_get_loop(listing.loop), nullptr, 0);
    if (!listing.context) return {};
    // No daemon (or none reachable from here): simply no cameras.
    const int remote = openRemote_ ? openRemote_() : -1;
    listing.core = openRemote_ ? (remote >= 0 ? pw_context_connect_fd(listing.context, remote, nullptr, 0) : nullptr)
                               : pw_context_connect(listing.context, nullptr, 0);
    if (!listing.core) return {};
    reachedDaemon_ = true;
    listing.awaitCamera = static_cast<bool>(openRemote_);

    listing.coreEvents.version = PW_VERSION_CORE_EVENTS;
    listing.coreEvents.done = [](void* data, std::uint32_t id, int sequence) {
        auto* self = static_cast<Listing*>(data);
        if (id != PW_ID_CORE || sequence != self->pendingSync) return;
        if (self->awaitCamera && self->cameras.empty()) {
            self->awaitingCamera = true;
            return;
        }
        if (self->askedFormats) {
            pw_main_loop_quit(self->loop);
            return;
        }
        self->askedFormats = true;
        for (const auto& [port, node] : self->portNodes) {
            if (!self->cameras.count(node)) continue;
            auto& bound = self->ports.emplace_back(std::make_unique<OutputPort>());
            bound->sizes = &self->cameras[node].sizes;
            bound->proxy = static_cast<pw_port*>(
                pw_registry_bind(self->registry, port, PW_TYPE_INTERFACE_Port, PW_VERSION_PORT, 0));
            if (!bound->proxy) {
                self->ports.pop_back();
                continue;
            }
            pw_port_add_listener(bound->proxy, &bound->listener, &self->portEvents, bound.get());
            pw_port_enum_params(bound->proxy, 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
        }
        self->pendingSync = pw_core_sync(self->core, PW_ID_CORE, 0);
    };
    listing.coreEvents.error = [](void* data, std::uint32_t id, int, int, const char*) {
        auto* self = static_cast<Listing*>(data);
        if (id == PW_ID_CORE) pw_main_loop_quit(self->loop);
    };
    pw_core_add_listener(listing.core, &listing.coreListener, &listing.coreEvents, &listing);

    listing.registryEvents.version = PW_VERSION_REGISTRY_EVENTS;
    listing.registryEvents.global = [](void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                                       const spa_dict* properties) {
        auto* self = static_cast<Listing*>(data);
        if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0) {
            if (std::strcmp(property(properties, PW_KEY_MEDIA_CLASS), "Video/Source") != 0 ||
                std::strcmp(property(properties, PW_KEY_MEDIA_ROLE), "Camera") != 0)
                return;
            ListedNode node;
            node.name = property(properties, PW_KEY_NODE_NAME);
            if (node.name.empty()) node.name = std::to_string(id);
            node.title = property(properties, PW_KEY_NODE_DESCRIPTION);
            if (node.title.empty()) node.title = property(properties, PW_KEY_NODE_NICK);
            if (node.title.empty()) node.title = node.name;
            self->cameras[id] = std::move(node);
            if (self->awaitingCamera) {
                self->awaitingCamera = false;
                self->pendingSync = pw_core_sync(self->core, PW_ID_CORE, 0);
            }
        } else if (std::strcmp(type, PW_TYPE_INTERFACE_Port) == 0 &&
                   std::strcmp(property(properties, PW_KEY_PORT_DIRECTION), "out") == 0) {
            const char* node = property(properties, PW_KEY_NODE_ID);
            if (*node) self->portNodes[id] = static_cast<std::uint32_t>(std::strtoul(node, nullptr, 10));
        }
    };
    listing.registry = pw_core_get_registry(listing.core, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(listing.registry, &listing.registryListener, &listing.registryEvents, &listing);

    listing.portEvents.version = PW_VERSION_PORT_EVENTS;
    listing.portEvents.param = [](void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                                  const spa_pod* param) {
        auto* port = static_cast<OutputPort*>(data);
        if (id != SPA_PARAM_EnumFormat || !param || !port->sizes) return;
        readSizes(param, *port->sizes);
    };
    listing.pendingSync = pw_core_sync(listing.core, PW_ID_CORE, 0);

    // A daemon that stops answering must not hang the listing.
    spa_source* timer = pw_loop_add_timer(
        pw_main_loop_get_loop(listing.loop),
        [](void* data, std::uint64_t) { pw_main_loop_quit(static_cast<pw_main_loop*>(data)); }, listing.loop);
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(timeout_).count();
    timespec timeout{static_cast<time_t>(nanoseconds / 1000000000), static_cast<long>(nanoseconds % 1000000000)};
    pw_loop_update_timer(pw_main_loop_get_loop(listing.loop), timer, &timeout, nullptr, false);
    pw_main_loop_run(listing.loop);
    pw_loop_destroy_source(pw_main_loop_get_loop(listing.loop), timer);

    std::vector<CameraDevice> cameras;
    for (auto& [node, listed] : listing.cameras) {
        std::sort(listed.sizes.begin(), listed.sizes.end(), [](const CameraSize& left, const CameraSize& right) {
            return std::pair(left.width * left.height, left.width) < std::pair(right.width * right.height, right.width);
        });
        cameras.push_back({cameraIdentifier(listed.name), listed.title, listed.sizes, node});
    }
    return cameras;
}

std::unique_ptr<CameraStream> PipeWireCameraLister::start(const CameraDevice& camera)
{
    return std::make_unique<PipeWireCameraStream>(camera, openRemote_ ? openRemote_() : -1);
}

}  // namespace vantile
