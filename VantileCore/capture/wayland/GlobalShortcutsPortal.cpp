#include "capture/wayland/GlobalShortcutsPortal.h"

#include <unistd.h>

#include <utility>

namespace vantile {

namespace {

constexpr const char* portalService = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";

sd_bus_slot* dropSlot(sd_bus_slot* slot)
{
    if (slot) sd_bus_slot_unref(slot);
    return nullptr;
}

}  // namespace

GlobalShortcutsPortal::GlobalShortcutsPortal(const std::string& shortcutId, const std::string& description,
                                             const KeyShortcut& preferred,
                                             const std::optional<std::string>& busAddress)
    : bus_(busAddress ? SessionBus(*busAddress) : SessionBus()),
      shortcutId_(shortcutId),
      description_(description),
      preferredTrigger_(portalTrigger(preferred))
{
    try {
        bus_.readUnsignedProperty(portalService, portalPath, interfaceName, "version");
    } catch (const SessionBusError&) {
        throw GlobalShortcutsUnavailable(
            "这个桌面没有提供全局快捷键门户：请用桌面的屏幕共享指示器或 vantile --toggle-recording 停止录制");
    }
    // Subscribed before anything is bound, so no press is missed.
    checkBus(sd_bus_match_signal(bus_.get(), &activatedSlot_, portalService, portalPath, interfaceName, "Activated",
                                 &GlobalShortcutsPortal::onActivated, this),
             "cannot watch the global shortcuts");
    try {
        sendRequest("CreateSession", nullptr, {{"session_handle_token", "vantile" + std::to_string(getpid())}});
    } catch (...) {
        dropSlot(activatedSlot_);
        throw;
    }
}

GlobalShortcutsPortal::~GlobalShortcutsPortal()
{
    dropSlot(callSlot_);
    dropSlot(responseSlot_);
    dropSlot(activatedSlot_);
    if (sessionHandle_.empty()) return;
    try {
        // Closing the session gives the key back to the desktop.
        bus_.call(bus_.newMethodCall(portalService, sessionHandle_, "org.freedesktop.portal.Session", "Close"),
                  std::chrono::seconds(2));
    } catch (const SessionBusError&) {
        // The portal already dropped the session.
    }
}

int GlobalShortcutsPortal::fileDescriptor() const { return sd_bus_get_fd(bus_.get()); }

int GlobalShortcutsPortal::dispatchPending()
{
    try {
        while (checkBus(sd_bus_process(bus_.get(), nullptr), "the session bus failed") > 0) {
        }
    } catch (const SessionBusError& error) {
        refuse(error.what());
    }
    return std::exchange(activations_, 0);
}

std::optional<std::string> GlobalShortcutsPortal::failure() const
{
    if (state_ != State::refused) return std::nullopt;
    return failure_;
}

void GlobalShortcutsPortal::waitUntilSettled(std::chrono::milliseconds timeout)
{
    try {
        bus_.processUntil([this] { return state_ != State::binding; }, timeout);
    } catch (const SessionBusError& error) {
        refuse(error.what());
    }
}

void GlobalShortcutsPortal::sendRequest(const std::string& member,
                                        const std::function<void(sd_bus_message*)>& appendArguments,
                                        BusOptions options)
{
    const std::string token = "vantile" + std::to_string(getpid()) + "_" + std::to_string(++nextToken_);
    const std::string requestPath = std::string(portalPath) + "/request/" + bus_.senderPathElement() + "/" + token;
    responseSlot_ = dropSlot(responseSlot_);
    checkBus(sd_bus_match_signal(bus_.get(), &responseSlot_, portalService, requestPath.c_str(),
                                 "org.freedesktop.portal.Request", "Response", &GlobalShortcutsPortal::onResponse, this),
             "cannot watch the portal's answer");
    BusMessage call = bus_.newMethodCall(portalService, portalPath, interfaceName, member);
    if (appendArguments) appendArguments(call.get());
    options["handle_token"] = token;
    appendOptions(call.get(), options);
    callSlot_ = dropSlot(callSlot_);
    checkBus(sd_bus_call_async(bus_.get(), &callSlot_, call.get(), &GlobalShortcutsPortal::onCallReply, this, 0),
             ("cannot send " + member).c_str());
}

int GlobalShortcutsPortal::onCallReply(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<GlobalShortcutsPortal*>(self);
    if (const sd_bus_error* error = sd_bus_message_get_error(message)) {
        portal.refuse(error->message ? error->message : "the global shortcuts portal failed");
    }
    return 0;
}

int GlobalShortcutsPortal::onResponse(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<GlobalShortcutsPortal*>(self);
    std::uint32_t code = 2;
    try {
        checkBus(sd_bus_message_read(message, "u", &code), "unexpected portal answer");
        portal.handleResponse(code, message);
    } catch (const SessionBusError& error) {
        portal.refuse(error.what());
    }
    return 0;
}

void GlobalShortcutsPortal::handleResponse(std::uint32_t code, sd_bus_message* results)
{
    if (state_ != State::binding) return;
    if (code == 1) return refuse("the user declined the shortcut");
    if (code != 0) return refuse("the global shortcuts portal refused");
    if (sessionHandle_.empty()) {
        readDictionary(results, [&](const std::string& key) {
            if (key != "session_handle") return false;
            sessionHandle_ = readStringVariant(results).value_or("");
            return true;
        });
        if (sessionHandle_.empty()) return refuse("the global shortcuts portal gave no session");
        sendRequest(
            "BindShortcuts",
            [this](sd_bus_message* message) {
                checkBus(sd_bus_message_append_basic(message, 'o', sessionHandle_.c_str()), "cannot build a call");
                checkBus(sd_bus_message_open_container(message, 'a', "(sa{sv})"), "cannot build a call");
                checkBus(sd_bus_message_open_container(message, 'r', "sa{sv}"), "cannot build a call");
                checkBus(sd_bus_message_append_basic(message, 's', shortcutId_.c_str()), "cannot build a call");
                appendOptions(message, {{"description", description_}, {"preferred_trigger", preferredTrigger_}});
                checkBus(sd_bus_message_close_container(message), "cannot build a call");
                checkBus(sd_bus_message_close_container(message), "cannot build a call");
                checkBus(sd_bus_message_append_basic(message, 's', ""), "cannot build a call");
            },
            {});
        return;
    }
    // BindShortcuts answered: the shortcuts as the desktop bound them.
    readDictionary(results, [&](const std::string& key) {
        if (key != "shortcuts") return false;
        checkBus(sd_bus_message_enter_container(results, 'v', "a(sa{sv})"), "unexpected portal answer");
        checkBus(sd_bus_message_enter_container(results, 'a', "(sa{sv})"), "unexpected portal answer");
        while (checkBus(sd_bus_message_enter_container(results, 'r', "sa{sv}"), "unexpected portal answer") > 0) {
            const char* id = nullptr;
            checkBus(sd_bus_message_read_basic(results, 's', &id), "unexpected portal answer");
            readDictionary(results, [&](const std::string& property) {
                if (property != "trigger_description" || shortcutId_ != id) return false;
                triggerDescription_ = readStringVariant(results);
                if (triggerDescription_ && triggerDescription_->empty()) triggerDescription_.reset();
                return true;
            });
            checkBus(sd_bus_message_exit_container(results), "unexpected portal answer");
        }
        checkBus(sd_bus_message_exit_container(results), "unexpected portal answer");
        checkBus(sd_bus_message_exit_container(results), "unexpected portal answer");
        return true;
    });
    responseSlot_ = dropSlot(responseSlot_);
    state_ = State::bound;
}

int GlobalShortcutsPortal::onActivated(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<GlobalShortcutsPortal*>(self);
    const char* session = nullptr;
    const char* id = nullptr;
    if (sd_bus_message_read(message, "os", &session, &id) < 0) return 0;
    if (portal.state_ == State::bound && portal.sessionHandle_ == session && portal.shortcutId_ == id)
        ++portal.activations_;
    return 0;
}

void GlobalShortcutsPortal::refuse(const std::string& why)
{
    if (state_ == State::refused) return;
    state_ = State::refused;
    failure_ = why;
}

}  // namespace vantile
