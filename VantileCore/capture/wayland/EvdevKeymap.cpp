#include "capture/wayland/EvdevKeymap.h"

#include "capture/KeysymName.h"

#include <xkbcommon/xkbcommon.h>

namespace vantile {

namespace {

// evdev codes are XKB keycodes less 8, for X11's reserved first eight.
constexpr xkb_keycode_t evdevOffset = 8;

struct ContextRelease {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

const char* nameOrDefault(const std::string& name) { return name.empty() ? nullptr : name.c_str(); }

}  // namespace

void EvdevKeymap::KeymapRelease::operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }

std::shared_ptr<const EvdevKeymap> EvdevKeymap::compile(const KeyboardLayout& layout)
{
    for (const std::string* field : {&layout.rules, &layout.model, &layout.layout, &layout.variant, &layout.options})
        if (!isKeyboardLayoutName(*field)) return nullptr;
    // The names come only from the caller, never from the environment, so a test's fixed layout
    // holds on any machine and the helper compiles exactly what it was told.
    const std::unique_ptr<xkb_context, ContextRelease> context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (!context) return nullptr;
    xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
    const xkb_rule_names names{.rules = nameOrDefault(layout.rules),
                               .model = nameOrDefault(layout.model),
                               .layout = nameOrDefault(layout.layout),
                               .variant = nameOrDefault(layout.variant),
                               .options = nameOrDefault(layout.options)};
    xkb_keymap* keymap = xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) return nullptr;
    return std::shared_ptr<const EvdevKeymap>(new EvdevKeymap(keymap));
}

std::uint32_t EvdevKeymap::unshiftedKeysym(unsigned evdevCode) const
{
    const xkb_keysym_t* symbols = nullptr;
    const int count = xkb_keymap_key_get_syms_by_level(keymap_.get(), evdevCode + evdevOffset, 0, 0, &symbols);
    return count == 1 ? symbols[0] : XKB_KEY_NoSymbol;
}

std::string EvdevKeymap::keyName(unsigned evdevCode) const { return keyNameOfKeysym(unshiftedKeysym(evdevCode)); }

EvdevKeymap::Modifier EvdevKeymap::modifierOf(unsigned evdevCode) const
{
    switch (unshiftedKeysym(evdevCode)) {
    case XKB_KEY_Control_L:
    case XKB_KEY_Control_R: return Modifier::control;
    case XKB_KEY_Alt_L:
    case XKB_KEY_Alt_R:
    case XKB_KEY_Meta_L:
    case XKB_KEY_Meta_R: return Modifier::alt;
    case XKB_KEY_Super_L:
    case XKB_KEY_Super_R: return Modifier::super;
    case XKB_KEY_Shift_L:
    case XKB_KEY_Shift_R: return Modifier::shift;
    default: return Modifier::none;
    }
}

}  // namespace vantile
