#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace vantile {

// A D-Bus failure, carrying the bus's own message.
class SessionBusError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The variant values the desktop portals exchange in their a{sv} dictionaries.
using BusValue = std::variant<std::uint32_t, bool, std::string>;
using BusOptions = std::map<std::string, BusValue>;

// Owns one sd_bus_message reference.
class BusMessage {
public:
    BusMessage() = default;
    explicit BusMessage(sd_bus_message* message, bool addReference = false);
    ~BusMessage();
    BusMessage(BusMessage&& other) noexcept;
    BusMessage& operator=(BusMessage&& other) noexcept;
    BusMessage(const BusMessage&) = delete;
    BusMessage& operator=(const BusMessage&) = delete;

    sd_bus_message* get() const { return message_; }
    explicit operator bool() const { return message_ != nullptr; }

private:
    sd_bus_message* message_ = nullptr;
};

// A private connection to the user's session bus, used from one thread.
class SessionBus {
public:
    // The user's session bus ($DBUS_SESSION_BUS_ADDRESS), or the bus at address.
    SessionBus();
    explicit SessionBus(const std::string& address);
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    sd_bus* get() const { return bus_; }
    // The unique name with ':' dropped and '.' as '_', as portal request paths spell it.
    std::string senderPathElement() const;

    BusMessage newMethodCall(const std::string& destination, const std::string& path,
                             const std::string& interface, const std::string& member);
    BusMessage call(const BusMessage& message, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Handles what the bus delivers for up to timeout, or until done() holds.
    void processUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

    std::uint32_t readUnsignedProperty(const std::string& destination, const std::string& path,
                                       const std::string& interface, const std::string& property);

private:
    sd_bus* bus_ = nullptr;
};

// Throws SessionBusError naming what failed when an sd-bus call returns a negative errno.
int checkBus(int result, const char* what);

void appendOptions(sd_bus_message* message, const BusOptions& options);

// Walks an a{sv} dictionary, handing each key to visit with the message at the variant. visit
// returns false for keys it does not read, which are skipped. Throws SessionBusError.
void readDictionary(sd_bus_message* message, const std::function<bool(const std::string&)>& visit);
// A variant holding a string (or an object path), or nothing for any other variant, which is skipped.
std::optional<std::string> readStringVariant(sd_bus_message* message);

}  // namespace vantile
