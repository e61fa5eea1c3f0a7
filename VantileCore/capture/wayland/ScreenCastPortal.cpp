#include "capture/wayland/ScreenCastPortal.h"

#include "capture/RecordingError.h"

#include <fcntl.h>
#include <unistd.h>

namespace vantile {

namespace {

constexpr const char* portalService = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* screenCastInterface = "org.freedesktop.portal.ScreenCast";
constexpr auto shortTimeout = std::chrono::seconds(10);

struct PendingResponse {
    bool arrived = false;
    std::uint32_t code = 2;
    BusMessage results;
};

int onResponse(sd_bus_message* message, void* data, sd_bus_error*)
{
    auto* pending = static_cast<PendingResponse*>(data);
    if (sd_bus_message_read(message, "u", &pending->code) < 0) pending->code = 2;
    pending->results = BusMessage(message, true);
    pending->arrived = true;
    return 0;
}

PortalStream readStream(sd_bus_message* message)
{
    PortalStream stream;
    checkBus(sd_bus_message_read(message, "u", &stream.node), "unexpected portal answer");
    readDictionary(message, [&](const std::string& key) {
        int first = 0;
        int second = 0;
        if (key == "position" || key == "size") {
            checkBus(sd_bus_message_read(message, "v", "(ii)", &first, &second), "unexpected portal answer");
            if (key == "position") stream.position = CodablePoint{double(first), double(second)};
            else stream.size = PixelSize{first, second};
            return true;
        }
        if (key == "source_type") {
            checkBus(sd_bus_message_read(message, "v", "u", &stream.sourceType), "unexpected portal answer");
            return true;
        }
        return false;
    });
    return stream;
}

}  // namespace

ScreenCastPortal::ScreenCastPortal() = default;

ScreenCastPortal::~ScreenCastPortal()
{
    if (sessionHandle_.empty()) return;
    try {
        bus_.call(bus_.newMethodCall(portalService, sessionHandle_, "org.freedesktop.portal.Session", "Close"),
                  std::chrono::seconds(2));
    } catch (const SessionBusError&) {
        // The portal already dropped the session.
    }
}

std::uint32_t ScreenCastPortal::availableCursorModes()
{
    return bus_.readUnsignedProperty(portalService, portalPath, screenCastInterface, "AvailableCursorModes");
}

std::uint32_t ScreenCastPortal::availableSourceTypes()
{
    return bus_.readUnsignedProperty(portalService, portalPath, screenCastInterface, "AvailableSourceTypes");
}

BusMessage ScreenCastPortal::request(const std::string& member,
                                     const std::function<void(sd_bus_message*)>& appendArguments, BusOptions options,
                                     std::chrono::milliseconds timeout)
{
    const std::string token = "vantile" + std::to_string(getpid()) + "_" + std::to_string(++nextToken_);
    const std::string requestPath = std::string(portalPath) + "/request/" + bus_.senderPathElement() + "/" + token;
    PendingResponse pending;
    sd_bus_slot* slot = nullptr;
    // Subscribed before the call, so a fast answer is never missed.
    checkBus(sd_bus_match_signal(bus_.get(), &slot, portalService, requestPath.c_str(),
                                 "org.freedesktop.portal.Request", "Response", onResponse, &pending),
             "cannot watch the portal's answer");
    struct SlotGuard {
        sd_bus_slot* slot;
        ~SlotGuard() { sd_bus_slot_unref(slot); }
    } guard{slot};

    BusMessage call = bus_.newMethodCall(portalService, portalPath, screenCastInterface, member);
    if (appendArguments) appendArguments(call.get());
    options["handle_token"] = token;
    appendOptions(call.get(), options);
    bus_.call(call, shortTimeout);
    bus_.processUntil([&] { return pending.arrived; }, timeout);
    if (!pending.arrived) throw RecordingError::captureStartFailed("the screen-cast portal did not answer " + member);
    if (pending.code == 1) throw RecordingError::screenShareCancelled();
    if (pending.code != 0) throw RecordingError::captureStartFailed("the screen-cast portal refused " + member);
    return std::move(pending.results);
}

ScreenCastGrant ScreenCastPortal::start(Target target, const std::optional<std::string>& restoreToken,
                                        std::chrono::milliseconds dialogTimeout)
{
    ScreenCastGrant grant;
    try {
        const BusMessage created =
            request("CreateSession", nullptr, {{"session_handle_token", "vantile" + std::to_string(getpid())}},
                    shortTimeout);
        readDictionary(created.get(), [&](const std::string& key) {
            if (key != "session_handle") return false;
            sessionHandle_ = readStringVariant(created.get()).value_or("");
            return true;
        });
        if (sessionHandle_.empty()) throw RecordingError::captureStartFailed("the screen-cast portal gave no session");

        const std::uint32_t modes = availableCursorModes();
        grant.cursorMetadata = (modes & cursorMetadata) != 0;
        BusOptions selection{
            {"types", static_cast<std::uint32_t>(target)},
            {"multiple", false},
            {"cursor_mode", grant.cursorMetadata ? cursorMetadata : cursorEmbedded},
            {"persist_mode", std::uint32_t{2}},
        };
        if (restoreToken) selection["restore_token"] = *restoreToken;
        const auto session = [this](sd_bus_message* message) {
            checkBus(sd_bus_message_append_basic(message, 'o', sessionHandle_.c_str()), "cannot build a call");
        };
        request("SelectSources", session, selection, shortTimeout);

        const BusMessage started = request(
            "Start",
            [&](sd_bus_message* message) {
                session(message);
                checkBus(sd_bus_message_append_basic(message, 's', ""), "cannot build a call");
            },
            {}, dialogTimeout);
        readDictionary(started.get(), [&](const std::string& key) {
            if (key == "restore_token") {
                grant.restoreToken = readStringVariant(started.get());
                return true;
            }
            if (key != "streams") return false;
            checkBus(sd_bus_message_enter_container(started.get(), 'v', "a(ua{sv})"), "unexpected portal answer");
            checkBus(sd_bus_message_enter_container(started.get(), 'a', "(ua{sv})"), "unexpected portal answer");
            while (checkBus(sd_bus_message_enter_container(started.get(), 'r', "ua{sv}"), "unexpected portal answer") >
                   0) {
                grant.streams.push_back(readStream(started.get()));
                checkBus(sd_bus_message_exit_container(started.get()), "unexpected portal answer");
            }
            checkBus(sd_bus_message_exit_container(started.get()), "unexpected portal answer");
            checkBus(sd_bus_message_exit_container(started.get()), "unexpected portal answer");
            return true;
        });
        if (grant.streams.empty()) throw RecordingError::captureStartFailed("the screen-cast portal granted no stream");

        BusMessage open = bus_.newMethodCall(portalService, portalPath, screenCastInterface, "OpenPipeWireRemote");
        session(open.get());
        appendOptions(open.get(), {});
        const BusMessage remote = bus_.call(open, shortTimeout);
        int descriptor = -1;
        checkBus(sd_bus_message_read(remote.get(), "h", &descriptor), "unexpected portal answer");
        grant.pipewireDescriptor = checkBus(fcntl(descriptor, F_DUPFD_CLOEXEC, 3), "cannot keep the PipeWire remote");
    } catch (const SessionBusError& error) {
        throw RecordingError::captureStartFailed(error.what());
    }
    return grant;
}

}  // namespace vantile
