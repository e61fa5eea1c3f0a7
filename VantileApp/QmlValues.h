#pragma once

#include "capture/PermissionStatus.h"
#include "capture/camera/CameraDevice.h"
#include "model/AudioSettings.h"
#include "model/CameraBubbleLook.h"
#include "model/CaptureSource.h"
#include "model/JsonCoding.h"
#include "model/RecordingProject.h"
#include "model/RenderSettings.h"
#include "store/ProjectCatalog.h"

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <optional>
#include <variant>
#include <vector>

namespace vantile {

// Conversions between the controller's values and what the screens read and send.
namespace QmlValues {

template <typename Enum, std::size_t Count>
QString text(const EnumTexts<Enum, Count>& texts, Enum value)
{
    const auto raw = texts.text(value);
    return QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size()));
}

// An unknown text is nothing, as a screen can only send the texts it was given.
template <typename Enum, std::size_t Count>
std::optional<Enum> parse(const EnumTexts<Enum, Count>& texts, const QString& text)
{
    try {
        return texts.parse(text.toStdString());
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

QVariantMap permissionStatus(const PermissionStatus& status);
QVariantList sources(const std::vector<CaptureSource>& sources);
QVariantMap project(const RecordingProject& project);
QVariantMap renderSettings(const RenderSettings& settings);
QVariantList microphones(const std::vector<AudioInputDevice>& devices);
QVariantList cameras(const std::vector<CameraDevice>& cameras);
QDateTime dateTime(const std::optional<Timestamp>& time);
// The project list's rows: texts ready to show, and the thumbnail's image address.
QVariantList projects(const std::vector<ProjectSummary>& projects);

// One change made in the settings panel. The ones that recompute project data, or size the
// output, are kinds of their own; every other field arrives as the whole settings changed.
struct FpsChange {
    std::int64_t fps;
};
using RenderSettingChange =
    std::variant<RenderSettings, ZoomIntensity, FpsChange, AspectRatio, ResolutionPreset, CursorSmoothing>;

// Nothing for an unknown field or a value it cannot take.
std::optional<RenderSettingChange> renderSettingChange(const RenderSettings& current, const QString& field,
                                                       const QVariant& value);
// The settings panel's camera section: `current` with one field changed, nothing for an
// unknown field or a value it cannot take; a size is kept to the allowed range.
std::optional<CameraBubbleLook> cameraBubbleChange(const CameraBubbleLook& current, const QString& field,
                                                   const QVariant& value);

}  // namespace QmlValues

}  // namespace vantile
