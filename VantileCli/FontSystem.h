#pragma once

#include <memory>

class QGuiApplication;

namespace vantile::cli {

// Qt's font system for commands that draw text (the sample's screen, shortcut badges and
// captions in an export), on the offscreen platform: no display is involved. Does nothing when
// an application object exists already.
class FontSystem {
public:
    FontSystem();
    ~FontSystem();
    FontSystem(const FontSystem&) = delete;
    FontSystem& operator=(const FontSystem&) = delete;

private:
    std::unique_ptr<QGuiApplication> application_;
};

}  // namespace vantile::cli
