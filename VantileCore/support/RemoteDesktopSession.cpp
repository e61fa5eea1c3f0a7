#include "support/RemoteDesktopSession.h"

#include <cstdlib>
#include <thread>

namespace vantile {

namespace {

constexpr const char* remoteDesktopService = "org.gnome.Mutter.RemoteDesktop";
constexpr const char* screenCastService = "org.gnome.Mutter.ScreenCast";
constexpr const char* sessionInterface = "org.gnome.Mutter.RemoteDesktop.Session";

std::string readPath(const BusMessage& reply)
{
    const char* path = nullptr;
    checkBus(sd_bus_message_read(reply.get(), "o", &path), "unexpected answer from mutter");
    return path;
}

int onStreamAdded(sd_bus_message* message, void* data, sd_bus_error*)
{
    sd_bus_message_read(message, "u", static_cast<std::uint32_t*>(data));
    return 0;
}

}  // namespace

RemoteDesktopSession::RemoteDesktopSession(const std::string& busAddress, const std::string& connector)
    : bus_(busAddress)
{
    sessionPath_ = readPath(bus_.call(
        bus_.newMethodCall(remoteDesktopService, "/org/gnome/Mutter/RemoteDesktop", remoteDesktopService, "CreateSession")));
    char* sessionId = nullptr;
    checkBus(sd_bus_get_property_string(bus_.get(), remoteDesktopService, sessionPath_.c_str(), sessionInterface,
                                        "SessionId", nullptr, &sessionId),
             "cannot read the remote-desktop session id");
    const std::string id = sessionId;
    free(sessionId);

    BusMessage createCast =
        bus_.newMethodCall(screenCastService, "/org/gnome/Mutter/ScreenCast", screenCastService, "CreateSession");
    appendOptions(createCast.get(), {{"remote-desktop-session-id", id}});
    const std::string castPath = readPath(bus_.call(createCast));

    BusMessage record =
        bus_.newMethodCall(screenCastService, castPath, "org.gnome.Mutter.ScreenCast.Session", "RecordMonitor");
    checkBus(sd_bus_message_append(record.get(), "s", connector.c_str()), "cannot build a call");
    appendOptions(record.get(), {});
    streamPath_ = readPath(bus_.call(record));

    sd_bus_slot* slot = nullptr;
    checkBus(sd_bus_match_signal(bus_.get(), &slot, screenCastService, streamPath_.c_str(),
                                 "org.gnome.Mutter.ScreenCast.Stream", "PipeWireStreamAdded", onStreamAdded, &node_),
             "cannot watch the stream");
    bus_.call(bus_.newMethodCall(remoteDesktopService, sessionPath_, sessionInterface, "Start"));
    bus_.processUntil([this] { return node_ != 0; }, std::chrono::seconds(10));
    sd_bus_slot_unref(slot);
    if (node_ == 0) throw SessionBusError("mutter started no stream for the remote-desktop session");
    // The seat gets its keyboard at the first key event; a harmless Shift makes it exist.
    setKey(42, true);
    setKey(42, false);
}

RemoteDesktopSession::~RemoteDesktopSession()
{
    try {
        bus_.call(bus_.newMethodCall(remoteDesktopService, sessionPath_, sessionInterface, "Stop"),
                  std::chrono::seconds(2));
    } catch (const SessionBusError&) {
        // Mutter already ended it.
    }
}

void RemoteDesktopSession::movePointer(double x, double y)
{
    BusMessage call = bus_.newMethodCall(remoteDesktopService, sessionPath_, sessionInterface,
                                         "NotifyPointerMotionAbsolute");
    checkBus(sd_bus_message_append(call.get(), "sdd", streamPath_.c_str(), x, y), "cannot build a call");
    bus_.call(call);
}

void RemoteDesktopSession::setButton(int button, bool pressed)
{
    BusMessage call = bus_.newMethodCall(remoteDesktopService, sessionPath_, sessionInterface, "NotifyPointerButton");
    checkBus(sd_bus_message_append(call.get(), "ib", button, static_cast<int>(pressed)), "cannot build a call");
    bus_.call(call);
}

void RemoteDesktopSession::click(double x, double y, int button)
{
    movePointer(x, y);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    setButton(button, true);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    setButton(button, false);
}

void RemoteDesktopSession::setKey(std::uint32_t keycode, bool pressed)
{
    BusMessage call = bus_.newMethodCall(remoteDesktopService, sessionPath_, sessionInterface, "NotifyKeyboardKeycode");
    checkBus(sd_bus_message_append(call.get(), "ub", keycode, static_cast<int>(pressed)), "cannot build a call");
    bus_.call(call);
}

}  // namespace vantile
