#include "support/ShortcutsPortalStandIn.h"

#include <algorithm>
#include <functional>
#include <optional>

namespace vantile {

namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";

// The caller's unique name as portal object paths spell it: ":1.5" becomes "1_5".
std::string senderElement(sd_bus_message* message)
{
    std::string name = sd_bus_message_get_sender(message) ? sd_bus_message_get_sender(message) + 1 : "";
    for (char& character : name)
        if (character == '.') character = '_';
    return name;
}

std::optional<std::string> optionNamed(sd_bus_message* message, const std::string& wanted)
{
    std::optional<std::string> found;
    readDictionary(message, [&](const std::string& key) {
        if (key != wanted) return false;
        found = readStringVariant(message);
        return true;
    });
    return found;
}

int version(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "u", 1);
}

// The Response signal of a request object, with an a{sv} of results built by appendResults.
void respond(sd_bus_message* call, const std::string& token, std::uint32_t code,
             const std::function<void(sd_bus_message*)>& appendResults)
{
    const std::string path = std::string(portalPath) + "/request/" + senderElement(call) + "/" + token;
    sd_bus_message* reply = nullptr;
    checkBus(sd_bus_reply_method_return(call, "o", path.c_str()), "cannot answer");
    checkBus(sd_bus_message_new_signal(sd_bus_message_get_bus(call), &reply, path.c_str(),
                                       "org.freedesktop.portal.Request", "Response"),
             "cannot build a response");
    const BusMessage signal(reply);
    checkBus(sd_bus_message_append(reply, "u", code), "cannot build a response");
    checkBus(sd_bus_message_open_container(reply, 'a', "{sv}"), "cannot build a response");
    appendResults(reply);
    checkBus(sd_bus_message_close_container(reply), "cannot build a response");
    checkBus(sd_bus_send(sd_bus_message_get_bus(call), reply, nullptr), "cannot send a response");
}

}  // namespace

ShortcutsPortalStandIn::ShortcutsPortalStandIn(const std::string& busAddress, bool declineBinding)
    : bus_(busAddress), declineBinding_(declineBinding)
{
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_PROPERTY("version", "u", version, 0, SD_BUS_VTABLE_PROPERTY_CONST),
        SD_BUS_METHOD("CreateSession", "a{sv}", "o", &ShortcutsPortalStandIn::createSession, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("BindShortcuts", "oa(sa{sv})sa{sv}", "o", &ShortcutsPortalStandIn::bindShortcuts,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_SIGNAL("Activated", "osta{sv}", 0),
        SD_BUS_VTABLE_END};
    checkBus(sd_bus_add_object_vtable(bus_.get(), &slot_, portalPath, shortcutsInterface, table, this),
             "cannot serve the shortcuts portal");
    try {
        checkBus(sd_bus_request_name(bus_.get(), portalName, 0), "cannot own the portal's name");
    } catch (...) {
        sd_bus_slot_unref(slot_);
        throw;
    }
    server_ = std::thread([this] { serve(); });
}

ShortcutsPortalStandIn::~ShortcutsPortalStandIn()
{
    stopping_ = true;
    server_.join();
    sd_bus_slot_unref(slot_);
}

int ShortcutsPortalStandIn::createSession(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<ShortcutsPortalStandIn*>(self);
    try {
        std::string handleToken;
        std::string sessionToken = "session";
        readDictionary(message, [&](const std::string& key) {
            if (key == "handle_token") handleToken = readStringVariant(message).value_or("");
            else if (key == "session_handle_token") sessionToken = readStringVariant(message).value_or("session");
            else return false;
            return true;
        });
        const std::string session = std::string(portalPath) + "/session/" + senderElement(message) + "/" + sessionToken;
        {
            const std::lock_guard lock(portal.mutex_);
            portal.sessions_.push_back(session);
        }
        respond(message, handleToken, 0, [&](sd_bus_message* results) {
            checkBus(sd_bus_message_append(results, "{sv}", "session_handle", "o", session.c_str()), "cannot answer");
        });
        return 1;
    } catch (const SessionBusError& error) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "%s", error.what());
    }
}

int ShortcutsPortalStandIn::bindShortcuts(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<ShortcutsPortalStandIn*>(self);
    try {
        const char* session = nullptr;
        checkBus(sd_bus_message_read_basic(message, 'o', &session), "bad BindShortcuts");
        std::vector<RequestedShortcut> asked;
        checkBus(sd_bus_message_enter_container(message, 'a', "(sa{sv})"), "bad BindShortcuts");
        while (checkBus(sd_bus_message_enter_container(message, 'r', "sa{sv}"), "bad BindShortcuts") > 0) {
            const char* id = nullptr;
            checkBus(sd_bus_message_read_basic(message, 's', &id), "bad BindShortcuts");
            RequestedShortcut shortcut{.session = session, .id = id};
            readDictionary(message, [&](const std::string& key) {
                if (key == "description") shortcut.description = readStringVariant(message).value_or("");
                else if (key == "preferred_trigger") shortcut.preferredTrigger = readStringVariant(message).value_or("");
                else return false;
                return true;
            });
            asked.push_back(shortcut);
            checkBus(sd_bus_message_exit_container(message), "bad BindShortcuts");
        }
        checkBus(sd_bus_message_exit_container(message), "bad BindShortcuts");
        const char* parentWindow = nullptr;
        checkBus(sd_bus_message_read_basic(message, 's', &parentWindow), "bad BindShortcuts");
        const std::string handleToken = optionNamed(message, "handle_token").value_or("");
        bool known = false;
        {
            const std::lock_guard lock(portal.mutex_);
            portal.requested_.insert(portal.requested_.end(), asked.begin(), asked.end());
            known = std::find(portal.sessions_.begin(), portal.sessions_.end(), session) != portal.sessions_.end();
        }
        if (!known) return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_ACCESS_DENIED, "no such session");
        respond(message, handleToken, portal.declineBinding_ ? 1 : 0, [&](sd_bus_message* results) {
            if (portal.declineBinding_) return;
            checkBus(sd_bus_message_open_container(results, 'e', "sv"), "cannot answer");
            checkBus(sd_bus_message_append_basic(results, 's', "shortcuts"), "cannot answer");
            checkBus(sd_bus_message_open_container(results, 'v', "a(sa{sv})"), "cannot answer");
            checkBus(sd_bus_message_open_container(results, 'a', "(sa{sv})"), "cannot answer");
            for (const RequestedShortcut& shortcut : asked) {
                checkBus(sd_bus_message_append(results, "(sa{sv})", shortcut.id.c_str(), 2, "description", "s",
                                               shortcut.description.c_str(), "trigger_description", "s",
                                               boundTriggerDescription),
                         "cannot answer");
            }
            for (int level = 0; level < 3; ++level) checkBus(sd_bus_message_close_container(results), "cannot answer");
        });
        return 1;
    } catch (const SessionBusError& error) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "%s", error.what());
    }
}

void ShortcutsPortalStandIn::serve()
{
    while (!stopping_) {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        std::vector<std::pair<std::string, std::string>> presses;
        {
            const std::lock_guard lock(mutex_);
            presses.swap(pendingPresses_);
        }
        for (const auto& [session, id] : presses) {
            sd_bus_emit_signal(bus_.get(), portalPath, shortcutsInterface, "Activated", "osta{sv}", session.c_str(),
                               id.c_str(), std::uint64_t{0}, 0);
        }
        sd_bus_flush(bus_.get());
        // Short waits, so a stop or a press is not held up for long.
        sd_bus_wait(bus_.get(), 20'000);
    }
}

std::vector<std::string> ShortcutsPortalStandIn::sessions() const
{
    const std::lock_guard lock(mutex_);
    return sessions_;
}

std::vector<RequestedShortcut> ShortcutsPortalStandIn::requested() const
{
    const std::lock_guard lock(mutex_);
    return requested_;
}

void ShortcutsPortalStandIn::press(const std::string& session, const std::string& id)
{
    const std::lock_guard lock(mutex_);
    pendingPresses_.emplace_back(session, id);
}

}  // namespace vantile
