#pragma once

#include <memory>

class QGuiApplication;

namespace vantile::cli {

// Qt's font system for a command that draws text (the sample's screen, text callouts) on a
// machine without a display: the offscreen platform, and only Qt's critical notices shown.
// Held for as long as text is drawn. Qt's headers stay out of the commands' own files, whose
// names (such as `signals`) Qt's keywords would take.
class HeadlessQt {
public:
    HeadlessQt();
    ~HeadlessQt();
    HeadlessQt(const HeadlessQt&) = delete;
    HeadlessQt& operator=(const HeadlessQt&) = delete;

private:
    std::unique_ptr<QGuiApplication> application_;
};

}  // namespace vantile::cli
