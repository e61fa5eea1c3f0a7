#include "support/ShellServicesStandIn.h"

#include <cstdlib>

namespace vantile {

namespace {

constexpr const char* notificationsName = "org.freedesktop.Notifications";
constexpr const char* notificationsPath = "/org/freedesktop/Notifications";
constexpr const char* fileManagerName = "org.freedesktop.FileManager1";
constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";

std::vector<std::string> readStrings(sd_bus_message* message)
{
    char** strings = nullptr;
    checkBus(sd_bus_message_read_strv(message, &strings), "cannot read a string list");
    std::vector<std::string> read;
    for (char** each = strings; each && *each; ++each) {
        read.emplace_back(*each);
        std::free(*each);
    }
    std::free(static_cast<void*>(strings));
    return read;
}

int capabilities(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "as", 2, "actions", "body");
}

int serverInformation(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "ssss", "Vantile shell stand-in", "Vantile", "1", "1.2");
}

int acknowledge(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "");
}

int hostRegistered(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "b", 1);
}

int protocolVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "i", 0);
}

}  // namespace

int ShellServicesStandIn::notify(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& services = *static_cast<ShellServicesStandIn*>(self);
    const char* application = nullptr;
    std::uint32_t replaces = 0;
    const char* icon = nullptr;
    const char* summary = nullptr;
    const char* body = nullptr;
    int expire = -1;
    try {
        checkBus(sd_bus_message_read(message, "susss", &application, &replaces, &icon, &summary, &body), "bad Notify");
        SentNotification sent{.summary = summary, .body = body, .actions = readStrings(message)};
        checkBus(sd_bus_message_skip(message, "a{sv}"), "bad Notify hints");
        checkBus(sd_bus_message_read(message, "i", &expire), "bad Notify timeout");
        sent.expireMilliseconds = expire;
        const std::lock_guard lock(services.mutex_);
        sent.id = std::uint32_t(services.notifications_.size() + 1);
        services.notifications_.push_back(sent);
        return sd_bus_reply_method_return(message, "u", sent.id);
    } catch (const SessionBusError& error) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "%s", error.what());
    }
}

int ShellServicesStandIn::showItems(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& services = *static_cast<ShellServicesStandIn*>(self);
    try {
        std::vector<std::string> items = readStrings(message);
        const std::lock_guard lock(services.mutex_);
        services.revealedItems_.insert(services.revealedItems_.end(), items.begin(), items.end());
        return sd_bus_reply_method_return(message, "");
    } catch (const SessionBusError& error) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "%s", error.what());
    }
}

int ShellServicesStandIn::registerItem(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& services = *static_cast<ShellServicesStandIn*>(self);
    const char* item = nullptr;
    if (sd_bus_message_read(message, "s", &item) < 0) return -EINVAL;
    const std::lock_guard lock(services.mutex_);
    services.trayItems_.emplace_back(item);
    return sd_bus_reply_method_return(message, "");
}

ShellServicesStandIn::ShellServicesStandIn(const std::string& busAddress, bool withTrayHost) : bus_(busAddress)
{
    static const sd_bus_vtable notificationsTable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", &ShellServicesStandIn::notify, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("GetCapabilities", "", "as", capabilities, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("GetServerInformation", "", "ssss", serverInformation, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("CloseNotification", "u", "", acknowledge, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_SIGNAL("ActionInvoked", "us", 0),
        SD_BUS_SIGNAL("NotificationClosed", "uu", 0),
        SD_BUS_VTABLE_END};
    static const sd_bus_vtable fileManagerTable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("ShowItems", "ass", "", &ShellServicesStandIn::showItems, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    static const sd_bus_vtable watcherTable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", &ShellServicesStandIn::registerItem, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("RegisterStatusNotifierHost", "s", "", acknowledge, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_PROPERTY("IsStatusNotifierHostRegistered", "b", hostRegistered, 0, SD_BUS_VTABLE_PROPERTY_CONST),
        SD_BUS_PROPERTY("ProtocolVersion", "i", protocolVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
        SD_BUS_VTABLE_END};

    struct Service {
        const char* name;
        const char* path;
        const sd_bus_vtable* table;
    };
    std::vector<Service> services{{notificationsName, notificationsPath, notificationsTable},
                                  {fileManagerName, "/org/freedesktop/FileManager1", fileManagerTable}};
    if (withTrayHost) services.push_back({watcherName, "/StatusNotifierWatcher", watcherTable});
    try {
        for (const Service& service : services) {
            sd_bus_slot* slot = nullptr;
            checkBus(sd_bus_add_object_vtable(bus_.get(), &slot, service.path, service.name, service.table, this),
                     "cannot serve a shell interface");
            slots_.push_back(slot);
            checkBus(sd_bus_request_name(bus_.get(), service.name, 0), "cannot own a shell service's name");
        }
    } catch (...) {
        for (sd_bus_slot* slot : slots_) sd_bus_slot_unref(slot);
        throw;
    }
    server_ = std::thread([this] { serve(); });
}

ShellServicesStandIn::~ShellServicesStandIn()
{
    stopping_ = true;
    server_.join();
    for (sd_bus_slot* slot : slots_) sd_bus_slot_unref(slot);
}

void ShellServicesStandIn::serve()
{
    while (!stopping_) {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        std::vector<std::pair<std::uint32_t, std::string>> actions;
        {
            const std::lock_guard lock(mutex_);
            actions.swap(pendingActions_);
        }
        for (const auto& [id, key] : actions)
            sd_bus_emit_signal(bus_.get(), notificationsPath, notificationsName, "ActionInvoked", "us", id, key.c_str());
        sd_bus_flush(bus_.get());
        // Short waits, so a stop or an action is not held up for long.
        sd_bus_wait(bus_.get(), 50'000);
    }
}

std::vector<SentNotification> ShellServicesStandIn::notifications() const
{
    const std::lock_guard lock(mutex_);
    return notifications_;
}

std::vector<std::string> ShellServicesStandIn::revealedItems() const
{
    const std::lock_guard lock(mutex_);
    return revealedItems_;
}

std::vector<std::string> ShellServicesStandIn::trayItems() const
{
    const std::lock_guard lock(mutex_);
    return trayItems_;
}

void ShellServicesStandIn::invokeAction(std::uint32_t id, const std::string& key)
{
    const std::lock_guard lock(mutex_);
    pendingActions_.emplace_back(id, key);
}

}  // namespace vantile
