#include "capture/RecordingRecovery.h"

#include "capture/EventJournal.h"
#include "capture/RecordingError.h"
#include "capture/RecordingFinisher.h"
#include "media/FfmpegHandles.h"

#include <algorithm>
#include <cmath>

namespace vantile {

namespace fs = std::filesystem;

namespace {

Json encodeRecordingStart(const RecordingStart& start)
{
    return Json{{"source", start.source},
                {"audioSettings", start.audioSettings},
                {"renderSettings", start.renderSettings},
                {"createdAt", formatISO8601(start.createdAt)}};
}

RecordingStart readRecordingStart(const fs::path& file)
{
    const Json json = Json::parse(readWholeFile(file));
    RecordingStart start;
    requireObject(json);
    decodeKey(json, "source", start.source);
    decodeKey(json, "audioSettings", start.audioSettings);
    decodeKey(json, "renderSettings", start.renderSettings);
    std::string createdAt;
    decodeKey(json, "createdAt", createdAt);
    start.createdAt = parseISO8601(createdAt);
    return start;
}

// A recording from before start notes were written: the whole movie was the source.
RecordingStart startOfWholeMovie(const RecordingResult& movie)
{
    RecordingStart start;
    start.source.id = "display-0";
    start.source.kind = CaptureSource::SourceKind::display;
    start.source.appName = "Display";
    start.source.title = "Display";
    start.source.region = {0, 0, static_cast<double>(movie.videoInfo.width), static_cast<double>(movie.videoInfo.height)};
    // Whole seconds, as the project file keeps them.
    start.createdAt = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return start;
}

}  // namespace

void writeRecordingStart(const RecordingStart& start, const fs::path& projectDirectory)
{
    const fs::path metadata = projectDirectory / ProjectFileManager::metadataFolderName;
    std::error_code error;
    fs::create_directories(metadata, error);
    writeFileAtomically(metadata / ProjectFileManager::recordingStartFileName,
                        ProjectFileManager::encodeDocument(encodeRecordingStart(start)));
}

RecordingResult playableRawMovie(const fs::path& rawMovie)
{
    const auto fail = [&](const std::string& reason) {
        return RecordingError::recoveryFailed(rawMovie.parent_path().string(), rawMovie.filename().string() + " " + reason);
    };
    std::error_code error;
    if (!fs::is_regular_file(rawMovie, error)) throw fail("is missing");
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, rawMovie.c_str(), nullptr, nullptr) < 0) throw fail("cannot be opened");
    InputFormatHandle format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) throw fail("cannot be read");
    const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream < 0) throw fail("has no video");
    const AVStream& video = *format->streams[stream];
    const AVRational rate = video.avg_frame_rate.num > 0 ? video.avg_frame_rate : video.r_frame_rate;
    const std::int64_t fps = rate.num > 0 && rate.den > 0 ? std::clamp<std::int64_t>(std::llround(av_q2d(rate)), 1, 240) : 30;

    // Only what is really there counts: the end of the last whole video packet.
    const PacketHandle packet = allocatePacket();
    double end = 0;
    double start = -1;
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == stream && packet->pts != AV_NOPTS_VALUE && !(packet->flags & AV_PKT_FLAG_CORRUPT)) {
            const double time = static_cast<double>(packet->pts) * av_q2d(video.time_base);
            const double length = packet->duration > 0 ? static_cast<double>(packet->duration) * av_q2d(video.time_base)
                                                       : 1.0 / static_cast<double>(fps);
            end = std::max(end, time + length);
            start = start < 0 ? time : std::min(start, time);
        }
        av_packet_unref(packet.get());
    }
    if (start < 0) throw fail("holds no frame");
    RecordingResult result;
    result.rawVideoURL = rawMovie;
    result.duration = end - start;
    result.videoInfo = {.path = rawMovie.filename().string(),
                        .width = video.codecpar->width,
                        .height = video.codecpar->height,
                        .fps = fps};
    return result;
}

RecordingProject recoverRecording(const fs::path& projectDirectory, const ProjectFileManager& files)
{
    if (!ProjectFileManager::isUnfinishedRecording(projectDirectory)) {
        throw RecordingError::recoveryFailed(projectDirectory.string(), "not an unfinished recording");
    }
    const fs::path metadata = projectDirectory / ProjectFileManager::metadataFolderName;
    const RecordingResult movie = playableRawMovie(projectDirectory / "raw.mov");
    RecordingStart start = startOfWholeMovie(movie);
    const fs::path startFile = metadata / ProjectFileManager::recordingStartFileName;
    if (entryExists(startFile)) {
        try {
            start = readRecordingStart(startFile);
        } catch (const std::exception& failure) {
            throw RecordingError::recoveryFailed(projectDirectory.string(),
                                                 std::string(ProjectFileManager::recordingStartFileName) + ": " +
                                                     failure.what());
        }
    }

    StoppedRecording stopped;
    stopped.events = EventJournal::read(metadata / ProjectFileManager::journalFileName);
    // Events after the last playable frame point at pictures that were never written.
    std::erase_if(stopped.events, [&](const InputEvent& event) { return event.time > movie.duration; });
    stopped.result = movie;
    stopped.source = start.source;
    stopped.audioSettings = start.audioSettings;
    stopped.projectDirectory = projectDirectory;
    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    return RecordingFinisher(files, planner, smoother).finish(stopped, start.renderSettings, start.createdAt);
}

}  // namespace vantile
