#include "StopShortcut.h"

#include <QSettings>

#include <cstdio>

namespace vantile {

StopShortcut::StopShortcut(std::optional<KeyShortcut> shortcut, Grab grab, Lifetime lifetime)
    : shortcut_(std::move(shortcut)), grab_(std::move(grab)), lifetime_(lifetime)
{
}

StopShortcut::~StopShortcut() { release(); }

QString StopShortcut::text() const
{
    // A desktop without the portal binds nothing, so no key is named.
    if (lifetime_ == Lifetime::whileRunning && !held_) return {};
    if (held_) {
        if (held_->failure()) return {};
        if (const auto bound = held_->triggerDescription()) return QString::fromStdString(*bound);
    }
    return shortcut_ ? QString::fromStdString(describeKeyShortcut(*shortcut_)) : QString();
}

void StopShortcut::prepare()
{
    if (lifetime_ == Lifetime::whileRunning) take();
}

bool StopShortcut::hold()
{
    if (!take()) return false;
    if (const auto failure = held_->failure()) {
        lastError_ = QString::fromStdString(*failure);
        return false;
    }
    // Presses from before the recording are not a stop.
    held_->dispatchPending();
    armed_ = true;
    return true;
}

bool StopShortcut::take()
{
    if (held_) return true;
    if (!shortcut_ || !grab_) return false;
    try {
        held_ = grab_(*shortcut_);
    } catch (const std::exception& error) {
        lastError_ = QString::fromUtf8(error.what());
        return false;
    }
    if (!held_) return false;
    notifier_ = std::make_unique<QSocketNotifier>(held_->fileDescriptor(), QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] {
        // Auto-repeat of a held key sends more presses: one stop is enough.
        if (held_ && held_->dispatchPending() > 0 && armed_) emit pressed();
    });
    return true;
}

void StopShortcut::release()
{
    armed_ = false;
    if (lifetime_ == Lifetime::whileRunning) return;
    notifier_.reset();
    held_.reset();
}

std::optional<KeyShortcut> StopShortcut::configured()
{
    const QSettings settings(QSettings::IniFormat, QSettings::UserScope, "vantile", "vantile");
    const QString text = settings.value("shortcuts/stopRecording", defaultStopShortcut).toString().trimmed();
    auto shortcut = parseKeyShortcut(text.toStdString());
    if (!shortcut && !text.isEmpty()) {
        std::fprintf(stderr, "vantile: shortcuts/stopRecording: \"%s\" is no key Vantile can take; no stop shortcut\n",
                     text.toLocal8Bit().constData());
    }
    return shortcut;
}

}  // namespace vantile
