#include "capture/x11/X11GlobalShortcut.h"

#include <algorithm>
#include <stdexcept>

namespace vantile {

namespace {

constexpr std::uint32_t keysymNumLock = 0xff7f;

}  // namespace

X11GlobalShortcut::X11GlobalShortcut(const KeyShortcut& shortcut, const std::optional<std::string>& displayName)
    : connection_(displayName)
{
    keycodes_ = keycodesOfKeysym(connection_, shortcut.keysym);
    if (keycodes_.empty())
        throw std::runtime_error("The keyboard has no key for " + describeKeyShortcut(shortcut) + ".");
    modifiers_ = modifierMaskOf(shortcut);
    const std::uint16_t numLock = numLockMask();
    ignoredCombinations_ = {0, XCB_MOD_MASK_LOCK};
    if (numLock != 0) ignoredCombinations_.insert(ignoredCombinations_.end(), {numLock, std::uint16_t(numLock | XCB_MOD_MASK_LOCK)});

    std::vector<xcb_void_cookie_t> grabs;
    for (const xcb_keycode_t keycode : keycodes_) {
        for (const std::uint16_t ignored : ignoredCombinations_) {
            grabs.push_back(xcb_grab_key_checked(connection_.get(), 1, connection_.root(), modifiers_ | ignored, keycode,
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    bool refused = false;
    for (const xcb_void_cookie_t grab : grabs) refused = connection_.failed(grab) || refused;
    if (refused)
        throw std::runtime_error("Another program already uses " + describeKeyShortcut(shortcut) + " for the whole desktop.");
    xcb_flush(connection_.get());
}

X11GlobalShortcut::~X11GlobalShortcut()
{
    for (const xcb_keycode_t keycode : keycodes_) {
        for (const std::uint16_t ignored : ignoredCombinations_)
            xcb_ungrab_key(connection_.get(), keycode, connection_.root(), modifiers_ | ignored);
    }
    xcb_flush(connection_.get());
}

std::uint16_t X11GlobalShortcut::numLockMask() const
{
    const std::vector<xcb_keycode_t> numLockKeys = keycodesOfKeysym(connection_, keysymNumLock);
    for (const auto& [keycode, mask] : modifierKeys(connection_)) {
        if (std::ranges::find(numLockKeys, keycode) != numLockKeys.end()) return mask;
    }
    return 0;
}

std::vector<std::uint32_t> unshiftedKeysyms(const X11Connection& connection)
{
    const xcb_setup_t* setup = xcb_get_setup(connection.get());
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const XcbReply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        connection.get(), xcb_get_keyboard_mapping(connection.get(), setup->min_keycode, std::uint8_t(count)), nullptr));
    std::vector<std::uint32_t> symbols(256, 0);
    if (!mapping) return symbols;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    for (int index = 0; index < count && perKeycode > 0; ++index) {
        // The unshifted symbol names the key: a letter's keysym is its lower-case one.
        symbols[static_cast<std::size_t>(setup->min_keycode + index)] = keysyms[index * perKeycode];
    }
    return symbols;
}

std::vector<xcb_keycode_t> keycodesOfKeysym(const X11Connection& connection, std::uint32_t keysym)
{
    std::vector<xcb_keycode_t> keycodes;
    const std::vector<std::uint32_t> symbols = unshiftedKeysyms(connection);
    for (std::size_t keycode = 1; keycode < symbols.size(); ++keycode) {
        if (symbols[keycode] == keysym) keycodes.push_back(xcb_keycode_t(keycode));
    }
    return keycodes;
}

std::uint16_t modifierMaskOf(const KeyShortcut& shortcut)
{
    std::uint16_t mask = 0;
    if (shortcut.shift) mask |= XCB_MOD_MASK_SHIFT;
    if (shortcut.control) mask |= XCB_MOD_MASK_CONTROL;
    if (shortcut.alt) mask |= XCB_MOD_MASK_1;
    if (shortcut.super) mask |= XCB_MOD_MASK_4;
    return mask;
}

std::vector<std::pair<xcb_keycode_t, std::uint16_t>> modifierKeys(const X11Connection& connection)
{
    std::vector<std::pair<xcb_keycode_t, std::uint16_t>> keys;
    const XcbReply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(connection.get(), xcb_get_modifier_mapping(connection.get()), nullptr));
    if (!modifiers) return keys;
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int perModifier = modifiers->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int slot = 0; slot < perModifier; ++slot) {
            const xcb_keycode_t keycode = keycodes[modifier * perModifier + slot];
            if (keycode != 0) keys.emplace_back(keycode, std::uint16_t(1u << modifier));
        }
    }
    return keys;
}

std::unique_ptr<GlobalShortcut> grabX11GlobalShortcut(const KeyShortcut& shortcut,
                                                      const std::optional<std::string>& displayName)
{
    return std::make_unique<X11GlobalShortcut>(shortcut, displayName);
}

int X11GlobalShortcut::fileDescriptor() const { return xcb_get_file_descriptor(connection_.get()); }

int X11GlobalShortcut::dispatchPending()
{
    int presses = 0;
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        if ((event->response_type & 0x7f) == XCB_KEY_PRESS) ++presses;
    }
    return presses;
}

}  // namespace vantile
