#include "capture/wayland/SessionBus.h"

#include <cstring>
#include <utility>

namespace vantile {

int checkBus(int result, const char* what)
{
    if (result < 0) throw SessionBusError(std::string(what) + ": " + std::strerror(-result));
    return result;
}

BusMessage::BusMessage(sd_bus_message* message, bool addReference) : message_(message)
{
    if (addReference && message_) sd_bus_message_ref(message_);
}

BusMessage::~BusMessage()
{
    if (message_) sd_bus_message_unref(message_);
}

BusMessage::BusMessage(BusMessage&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}

BusMessage& BusMessage::operator=(BusMessage&& other) noexcept
{
    std::swap(message_, other.message_);
    return *this;
}

SessionBus::SessionBus() { checkBus(sd_bus_open_user(&bus_), "cannot connect to the session bus"); }

SessionBus::SessionBus(const std::string& address)
{
    checkBus(sd_bus_new(&bus_), "cannot create a bus connection");
    try {
        checkBus(sd_bus_set_address(bus_, address.c_str()), "invalid bus address");
        checkBus(sd_bus_set_bus_client(bus_, 1), "cannot set up the bus connection");
        checkBus(sd_bus_start(bus_), ("cannot connect to the bus at " + address).c_str());
    } catch (...) {
        sd_bus_unref(bus_);
        throw;
    }
}

SessionBus::~SessionBus()
{
    if (bus_) sd_bus_flush_close_unref(bus_);
}

std::string SessionBus::senderPathElement() const
{
    const char* unique = nullptr;
    checkBus(sd_bus_get_unique_name(bus_, &unique), "the session bus gave no name");
    std::string name(unique + 1);
    for (char& character : name)
        if (character == '.') character = '_';
    return name;
}

BusMessage SessionBus::newMethodCall(const std::string& destination, const std::string& path,
                                     const std::string& interface, const std::string& member)
{
    sd_bus_message* message = nullptr;
    checkBus(sd_bus_message_new_method_call(bus_, &message, destination.c_str(), path.c_str(), interface.c_str(),
                                            member.c_str()),
             "cannot build a D-Bus call");
    return BusMessage(message);
}

BusMessage SessionBus::call(const BusMessage& message, std::chrono::milliseconds timeout)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(bus_, message.get(), static_cast<std::uint64_t>(timeout.count()) * 1000, &error, &reply);
    if (result < 0) {
        const std::string text = error.message ? error.message : std::strerror(-result);
        const std::string member = sd_bus_message_get_member(message.get()) ? sd_bus_message_get_member(message.get()) : "";
        sd_bus_error_free(&error);
        throw SessionBusError(member + " failed: " + text);
    }
    return BusMessage(reply);
}

void SessionBus::processUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        const int processed = checkBus(sd_bus_process(bus_, nullptr), "the session bus failed");
        if (processed > 0) continue;
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) return;
        checkBus(sd_bus_wait(bus_, static_cast<std::uint64_t>(
                                       std::chrono::duration_cast<std::chrono::microseconds>(left).count())),
                 "the session bus failed");
    }
}

std::uint32_t SessionBus::readUnsignedProperty(const std::string& destination, const std::string& path,
                                               const std::string& interface, const std::string& property)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    std::uint32_t value = 0;
    const int result = sd_bus_get_property_trivial(bus_, destination.c_str(), path.c_str(), interface.c_str(),
                                                   property.c_str(), &error, 'u', &value);
    if (result < 0) {
        const std::string text = error.message ? error.message : std::strerror(-result);
        sd_bus_error_free(&error);
        throw SessionBusError(property + " cannot be read: " + text);
    }
    return value;
}

void appendOptions(sd_bus_message* message, const BusOptions& options)
{
    checkBus(sd_bus_message_open_container(message, 'a', "{sv}"), "cannot build options");
    for (const auto& [key, value] : options) {
        checkBus(sd_bus_message_open_container(message, 'e', "sv"), "cannot build options");
        checkBus(sd_bus_message_append_basic(message, 's', key.c_str()), "cannot build options");
        if (const auto* number = std::get_if<std::uint32_t>(&value)) {
            checkBus(sd_bus_message_append(message, "v", "u", *number), "cannot build options");
        } else if (const auto* flag = std::get_if<bool>(&value)) {
            checkBus(sd_bus_message_append(message, "v", "b", static_cast<int>(*flag)), "cannot build options");
        } else {
            checkBus(sd_bus_message_append(message, "v", "s", std::get<std::string>(value).c_str()),
                     "cannot build options");
        }
        checkBus(sd_bus_message_close_container(message), "cannot build options");
    }
    checkBus(sd_bus_message_close_container(message), "cannot build options");
}

// Walks an a{sv} dictionary, handing each key to visit with the message at the variant.
// visit returns false for keys it does not read, which are skipped.
void readDictionary(sd_bus_message* message, const std::function<bool(const std::string&)>& visit)
{
    checkBus(sd_bus_message_enter_container(message, 'a', "{sv}"), "unexpected portal answer");
    while (checkBus(sd_bus_message_enter_container(message, 'e', "sv"), "unexpected portal answer") > 0) {
        const char* key = nullptr;
        checkBus(sd_bus_message_read_basic(message, 's', &key), "unexpected portal answer");
        if (!visit(key)) checkBus(sd_bus_message_skip(message, "v"), "unexpected portal answer");
        checkBus(sd_bus_message_exit_container(message), "unexpected portal answer");
    }
    checkBus(sd_bus_message_exit_container(message), "unexpected portal answer");
}

std::optional<std::string> readStringVariant(sd_bus_message* message)
{
    const char* contents = nullptr;
    checkBus(sd_bus_message_peek_type(message, nullptr, &contents), "unexpected portal answer");
    // Portals answer a session handle as a string or as an object path, depending on their age.
    const std::string type = contents ? contents : "";
    if (type != "s" && type != "o") {
        checkBus(sd_bus_message_skip(message, "v"), "unexpected portal answer");
        return std::nullopt;
    }
    const char* text = nullptr;
    checkBus(sd_bus_message_read(message, "v", type.c_str(), &text), "unexpected portal answer");
    return std::string(text);
}

}  // namespace vantile
