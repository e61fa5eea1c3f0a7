#pragma once

#include "capture/GlobalShortcut.h"

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace vantile {

// The desktop-wide key that stops a recording without any visible control (X11). It is taken
// from the desktop only while a recording runs, so other programs keep it the rest of the time.
class StopShortcut : public QObject {
    Q_OBJECT

public:
    using Grab = std::function<std::unique_ptr<GlobalShortcut>(const KeyShortcut&)>;

    // `shortcut` absent: none configured (or none possible on this desktop).
    StopShortcut(std::optional<KeyShortcut> shortcut, Grab grab);
    ~StopShortcut() override;

    // The configured shortcut as the user reads it, or empty when there is none.
    QString text() const;
    // Takes the key from the desktop; false (with the reason in lastError()) when it cannot.
    bool hold();
    void release();
    bool isHeld() const { return held_ != nullptr; }
    const QString& lastError() const { return lastError_; }

    // The user's choice: `shortcuts/stopRecording` in Vantile's settings file, the default when
    // unset, none when set empty or unreadable.
    static std::optional<KeyShortcut> configured();

signals:
    void pressed();

private:
    std::optional<KeyShortcut> shortcut_;
    Grab grab_;
    std::unique_ptr<GlobalShortcut> held_;
    std::unique_ptr<QSocketNotifier> notifier_;
    QString lastError_;
};

}  // namespace vantile
