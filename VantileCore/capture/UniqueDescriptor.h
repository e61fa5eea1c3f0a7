#pragma once

#include <unistd.h>

#include <utility>

namespace vantile {

// Owns one file descriptor and closes it on destruction; -1 holds nothing.
class UniqueDescriptor {
public:
    UniqueDescriptor() = default;
    explicit UniqueDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~UniqueDescriptor()
    {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    UniqueDescriptor(UniqueDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    UniqueDescriptor& operator=(UniqueDescriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    int get() const { return descriptor_; }

private:
    int descriptor_ = -1;
};

}  // namespace vantile
