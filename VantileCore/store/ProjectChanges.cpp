#include "store/ProjectChanges.h"

namespace vantile {

namespace {

// Three-way merge of JSON values: what `changed` changed relative to `base`, laid over `onDisk`.
// Objects merge member by member, so two writers who changed different settings both keep them.
Json mergeJson(const Json& base, const Json& changed, const Json& onDisk)
{
    if (changed == base) return onDisk;
    if (!base.is_object() || !changed.is_object() || !onDisk.is_object()) return changed;
    Json merged = onDisk;
    for (const auto& [key, value] : changed.items()) {
        const auto before = base.find(key);
        if (before == base.end()) {
            merged[key] = value;
        } else if (value != *before) {
            const auto disk = onDisk.find(key);
            merged[key] = disk == onDisk.end() ? value : mergeJson(*before, value, *disk);
        }
    }
    for (const auto& [key, value] : base.items()) {
        if (!changed.contains(key)) merged.erase(key);
    }
    return merged;
}

template <typename Record>
Record mergeRecord(const Record& base, const Record& changed, const Record& onDisk)
{
    if (changed == base) return onDisk;
    return decodeDocument<Record>(mergeJson(Json(base), Json(changed), Json(onDisk)));
}

}  // namespace

RecordingProject mergeProjectChanges(const RecordingProject& base, const RecordingProject& changed,
                                     RecordingProject onDisk)
{
    const auto takeChanged = [&](auto... fields) {
        const auto take = [&](auto field) {
            if (changed.*field != base.*field) onDisk.*field = changed.*field;
        };
        (take(fields), ...);
    };
    using P = RecordingProject;
    takeChanged(&P::id, &P::createdAt, &P::duration, &P::events, &P::focusSegments, &P::cursorFrames,
                &P::rawVideoPath, &P::previewVideoPath, &P::exportVideoPath, &P::exports, &P::camera,
                &P::speedRegions, &P::textCallouts, &P::blurRegions, &P::crop,
                &P::hiddenShortcuts);
    if (changed.trim != base.trim || changed.cuts != base.cuts) {
        onDisk.trim = changed.trim;
        onDisk.cuts = changed.cuts;
    }
    onDisk.capture = mergeRecord(base.capture, changed.capture, onDisk.capture);
    onDisk.video = mergeRecord(base.video, changed.video, onDisk.video);
    onDisk.renderSettings = mergeRecord(base.renderSettings, changed.renderSettings, onDisk.renderSettings);
    onDisk.audioSettings = mergeRecord(base.audioSettings, changed.audioSettings, onDisk.audioSettings);
    const auto members = [](const UnknownKeys& unknown) {
        return unknown.members.is_null() ? Json::object() : unknown.members;
    };
    Json unknown = mergeJson(members(base.unknownKeys), members(changed.unknownKeys), members(onDisk.unknownKeys));
    // None is null, as decoding leaves it, so an unchanged project compares equal to a loaded one.
    onDisk.unknownKeys.members = unknown.empty() ? Json() : std::move(unknown);
    return onDisk;
}

}  // namespace vantile
