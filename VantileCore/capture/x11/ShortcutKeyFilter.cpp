#include "capture/x11/ShortcutKeyFilter.h"

#include <algorithm>

namespace vantile {

ShortcutKeyFilter::ShortcutKeyFilter(std::vector<std::uint8_t> shortcutKeys, std::vector<Modifier> modifiers,
                                     std::uint16_t requiredMask, Clock clock)
    : shortcutKeys_(std::move(shortcutKeys)), requiredMask_(requiredMask), clock_(std::move(clock))
{
    if (!clock_) clock_ = [] { return std::chrono::steady_clock::now(); };
    // Only the shortcut's own modifiers are held back; Alt or Super typed alone pass at once.
    for (const Modifier& modifier : modifiers) {
        if (modifier.mask & requiredMask_) modifiers_.push_back(modifier);
    }
}

const ShortcutKeyFilter::Modifier* ShortcutKeyFilter::modifierOf(std::uint8_t keycode) const
{
    const auto found = std::ranges::find(modifiers_, keycode, &Modifier::keycode);
    return found == modifiers_.end() ? nullptr : &*found;
}

std::uint16_t ShortcutKeyFilter::heldMask() const
{
    std::uint16_t mask = 0;
    for (const std::uint8_t keycode : heldModifiers_) mask |= modifierOf(keycode)->mask;
    return mask;
}

void ShortcutKeyFilter::keyPressed(std::uint8_t keycode, const Deliver& deliver)
{
    if (shortcutKeys_.empty()) {
        deliver({.kind = RawInput::Kind::keyDown});
        return;
    }
    if (modifierOf(keycode)) {
        heldModifiers_.insert(keycode);
        if (!swallowed_.contains(keycode))
            heldBack_.push_back({keycode, RawInput{.kind = RawInput::Kind::keyDown, .time = clock_()}});
        return;
    }
    if (std::ranges::find(shortcutKeys_, keycode) != shortcutKeys_.end() && heldMask() == requiredMask_) {
        swallowed_.insert(keycode);
        for (const HeldBack& held : heldBack_) swallowed_.insert(held.keycode);
        heldBack_.clear();
        return;
    }
    flush(deliver);
    deliver({.kind = RawInput::Kind::keyDown});
}

void ShortcutKeyFilter::keyReleased(std::uint8_t keycode, const Deliver& deliver)
{
    heldModifiers_.erase(keycode);
    if (swallowed_.erase(keycode)) return;
    flush(deliver);
    deliver({.kind = RawInput::Kind::keyUp});
}

void ShortcutKeyFilter::flush(const Deliver& deliver)
{
    for (const HeldBack& held : std::exchange(heldBack_, {})) deliver(held.press);
}

void ShortcutKeyFilter::reset()
{
    heldModifiers_.clear();
    heldBack_.clear();
    swallowed_.clear();
}

}  // namespace vantile
