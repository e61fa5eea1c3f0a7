#include "StopShortcut.h"

#include <QSettings>

#include <cstdio>

namespace vantile {

StopShortcut::StopShortcut(std::optional<KeyShortcut> shortcut, Grab grab)
    : shortcut_(std::move(shortcut)), grab_(std::move(grab))
{
}

StopShortcut::~StopShortcut() { release(); }

QString StopShortcut::text() const
{
    return shortcut_ ? QString::fromStdString(describeKeyShortcut(*shortcut_)) : QString();
}

bool StopShortcut::hold()
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
        if (held_ && held_->dispatchPending() > 0) emit pressed();
    });
    return true;
}

void StopShortcut::release()
{
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
