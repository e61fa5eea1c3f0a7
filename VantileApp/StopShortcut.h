#pragma once

#include "capture/GlobalShortcut.h"

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace vantile {

// The desktop-wide key that stops a recording without any visible control. On X11 it is taken
// from the desktop only while a recording runs, so other programs keep it the rest of the time.
// Through a desktop portal the desktop owns the key and may ask the user about it: it is bound
// once when Vantile starts (never with a dialog in the movie) and only heeded while recording.
class StopShortcut : public QObject {
    Q_OBJECT

public:
    using Grab = std::function<std::unique_ptr<GlobalShortcut>(const KeyShortcut&)>;
    enum class Lifetime { whileRecording, whileRunning };

    // `shortcut` absent: none configured (or none possible on this desktop).
    StopShortcut(std::optional<KeyShortcut> shortcut, Grab grab, Lifetime lifetime = Lifetime::whileRecording);
    ~StopShortcut() override;

    // The key as the user reads it: the desktop's name for what it bound, else the configured
    // one; empty when there is none.
    QString text() const;
    // Binds a key that lives as long as Vantile now; nothing for one taken per recording.
    void prepare();
    // Heeds the key from now on, taking it first where needed; false (with the reason in
    // lastError()) when it cannot be had.
    bool hold();
    // Stops heeding it; a key taken per recording goes back to the desktop.
    void release();
    bool isHeld() const { return held_ != nullptr && armed_; }
    const QString& lastError() const { return lastError_; }

    // The user's choice: `shortcuts/stopRecording` in Vantile's settings file, the default when
    // unset, none when set empty or unreadable.
    static std::optional<KeyShortcut> configured();

signals:
    void pressed();

private:
    bool take();

    std::optional<KeyShortcut> shortcut_;
    Grab grab_;
    Lifetime lifetime_;
    bool armed_ = false;
    std::unique_ptr<GlobalShortcut> held_;
    std::unique_ptr<QSocketNotifier> notifier_;
    QString lastError_;
};

}  // namespace vantile
