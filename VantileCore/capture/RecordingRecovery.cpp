#include "capture/RecordingRecovery.h"

#include "capture/EventJournal.h"
#include "capture/RecordingError.h"
#include "capture/RecordingFinisher.h"
#include "capture/camera/CameraRecorder.h"
#include "media/FfmpegHandles.h"
#include "store/ProjectFileError.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vantile {

namespace fs = std::filesystem;

namespace {

Json encodeRecordingStart(const RecordingStart& start)
{
    return Json{{"source", start.source},
                {"audioSettings", start.audioSettings},
                {"renderSettings", start.renderSettings},
                {"createdAt", formatISO8601(start.createdAt)},
                {"fps", start.fps}};
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
    // Notes written before the rate was noted keep the default: every raw movie has been
    // written at that rate.
    decodeKeyOrKeep(json, "fps", start.fps);
    if (start.fps < 1 || start.fps > 240) throw DecodingError("fps", "must be between 1 and 240");
    return start;
}

// The start note as a recovery reads it: every failure is one sentence naming the file.
RecordingStart readRecordingStartOf(const fs::path& projectDirectory, const fs::path& file)
{
    const auto fail = [&](const std::string& problem) {
        return RecordingError::recoveryFailed(projectDirectory.string(),
                                              std::string(ProjectFileManager::recordingStartFileName) + problem);
    };
    try {
        return readRecordingStart(file);
    } catch (const ProjectFileError&) {
        throw;  // names the file and the reason already
    } catch (const Json::parse_error&) {
        throw fail(" is not valid JSON");
    } catch (const DecodingError& error) {
        throw fail(": " + std::string(error.what()));
    } catch (const std::exception&) {
        throw fail(" does not describe a recording");
    }
}

// Why a project directory's raw movie cannot be read, before a library is asked to.
std::optional<std::string> rawMovieProblem(const fs::path& rawMovie)
{
    std::error_code error;
    const fs::file_type type = fs::status(rawMovie, error).type();
    if (type == fs::file_type::regular) return std::nullopt;
    if (type == fs::file_type::not_found) return "is missing";
    if (type == fs::file_type::directory) return "is a directory";
    return "is not a regular file";
}

// Keeps a journal with damaged lines where the user finds it, before the save removes it.
void keepDamagedJournal(const fs::path& journal, const fs::path& projectDirectory)
{
    std::error_code error;
    fs::copy_file(journal, projectDirectory / damagedJournalFileName, fs::copy_options::overwrite_existing, error);
    if (error) {
        throw RecordingError::recoveryFailed(projectDirectory.string(),
                                             std::string("the damaged input journal cannot be kept as ") +
                                                 damagedJournalFileName + " (" + error.message() + ")");
    }
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

RecordingResult playableRawMovie(const fs::path& rawMovie, std::int64_t fps)
{
    const auto fail = [&](const std::string& reason) {
        return RecordingError::recoveryFailed(rawMovie.parent_path().string(), rawMovie.filename().string() + " " + reason);
    };
    if (const auto problem = rawMovieProblem(rawMovie)) throw fail(*problem);
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, rawMovie.c_str(), nullptr, nullptr) < 0) throw fail("cannot be opened");
    InputFormatHandle format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) throw fail("cannot be read");
    const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream < 0) throw fail("has no video");
    const AVStream& video = *format->streams[stream];

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

RecoveredRecording recoverRecording(const fs::path& projectDirectory, const ProjectFileManager& files)
{
    const auto fail = [&](const std::string& reason) {
        return RecordingError::recoveryFailed(projectDirectory.string(), reason);
    };
    std::error_code error;
    const fs::file_type type = fs::status(projectDirectory, error).type();
    if (type == fs::file_type::not_found) throw fail("there is no such directory");
    if (type != fs::file_type::directory) throw fail("it is not a directory");
    if (!ProjectFileManager::isUnfinishedRecording(projectDirectory)) throw fail("not an unfinished recording");
    const fs::path metadata = projectDirectory / ProjectFileManager::metadataFolderName;
    const fs::path startFile = metadata / ProjectFileManager::recordingStartFileName;
    std::optional<RecordingStart> noted;
    if (entryExists(startFile)) noted = readRecordingStartOf(projectDirectory, startFile);
    // Without a note, the rate every raw movie has been written at.
    const RecordingResult movie =
        playableRawMovie(projectDirectory / "raw.mov", noted ? noted->fps : RawMovieWriter::standardFps);
    const RecordingStart start = noted ? *noted : startOfWholeMovie(movie);

    const fs::path journal = metadata / ProjectFileManager::journalFileName;
    JournalContents journalled = EventJournal::read(journal);
    if (journalled.damagedLines > 0) keepDamagedJournal(journal, projectDirectory);
    StoppedRecording stopped;
    stopped.events = std::move(journalled.events);
    // Events after the last playable frame point at pictures that were never written.
    std::erase_if(stopped.events, [&](const InputEvent& event) { return event.time > movie.duration; });
    stopped.result = movie;
    stopped.source = start.source;
    stopped.audioSettings = start.audioSettings;
    stopped.projectDirectory = projectDirectory;
    // The camera movie counts when its note says where it starts and it holds a playable frame.
    if (auto camera = CameraRecorder::readNote(projectDirectory)) {
        try {
            playableRawMovie(projectDirectory / camera->path, camera->fps);
            stopped.camera = std::move(camera);
        } catch (const RecordingError&) {
            // Killed before its first fragment reached the disk: the project has no camera.
        }
    }
    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    RecoveredRecording recovered{
        RecordingFinisher(files, planner, smoother).finish(stopped, start.renderSettings, start.createdAt),
        journalled.damagedLines};
    CameraRecorder::removeNote(projectDirectory);
    return recovered;
}

}  // namespace vantile
