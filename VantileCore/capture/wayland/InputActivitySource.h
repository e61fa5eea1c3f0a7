#pragma once

#include "capture/InputSource.h"
#include "capture/wayland/KeyboardLayout.h"

#include <optional>
#include <vector>

namespace vantile {

// Where clicks, wheels and key activity come from on Wayland: the kernel's devices read by this
// process, or the privileged helper that reads them for it.
class InputActivitySource {
public:
    virtual ~InputActivitySource() = default;

    // Starts reading; what cannot be read is skipped, so this never fails.
    virtual void open() = 0;
    virtual void close() = 0;
    // Readable while activity waits. Stays the same while open and closed in turn.
    virtual int fileDescriptor() const = 0;
    // The activity since the last call, in time order.
    virtual std::vector<RawInput> readPending() = 0;
    // With a layout, chords with Ctrl, Alt or Super are also read by name, their keys named in
    // that layout; nullopt, as before any call, reads no key's identity. Takes effect at the next
    // open() at the latest.
    virtual void recordShortcuts(const std::optional<KeyboardLayout>& layout) = 0;
};

}  // namespace vantile
