#include "store/ProjectFileManager.h"

#include "engine/TimelineEdits.h"
#include "store/ProjectChanges.h"
#include "store/ProjectLock.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <ctime>
#include <fstream>
#include <regex>

namespace vantile {

namespace fs = std::filesystem;

namespace {

constexpr const char* metadataFileNames[] = {"project.json", "events.json", "focus_segments.json",
                                             "cursor_path.json"};

[[noreturn]] void throwFileSystemError(const std::string& action, const fs::path& path, const std::error_code& error)
{
    throw ProjectFileError(ProjectFileError::Kind::fileSystem, action + " " + path.string() + ": " + error.message());
}

void createDirectories(const fs::path& directory)
{
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) throwFileSystemError("Cannot create directory", directory, error);
    if (!fs::is_directory(directory, error)) {
        throwFileSystemError("Cannot create directory", directory, std::make_error_code(std::errc::not_a_directory));
    }
}

// XDG_VIDEOS_DIR from the environment or the user-dirs file, else ~/Videos.
fs::path userVideosDirectory()
{
    const char* homeValue = std::getenv("HOME");
    const fs::path home = homeValue && *homeValue ? fs::path(homeValue) : fs::path("/tmp");
    const auto expand = [&](std::string value) {
        if (value.rfind("$HOME", 0) == 0) value = home.string() + value.substr(5);
        return fs::path(value);
    };
    if (const char* fromEnvironment = std::getenv("XDG_VIDEOS_DIR"); fromEnvironment && *fromEnvironment) {
        return expand(fromEnvironment);
    }
    const char* configValue = std::getenv("XDG_CONFIG_HOME");
    const fs::path config = configValue && *configValue ? fs::path(configValue) : home / ".config";
    std::ifstream userDirs(config / "user-dirs.dirs");
    static const std::regex line(R"re(^\s*XDG_VIDEOS_DIR\s*=\s*"([^"]*)"\s*$)re");
    for (std::string text; std::getline(userDirs, text);) {
        std::smatch match;
        if (std::regex_match(text, match, line)) {
            const fs::path videos = expand(match[1].str());
            // A user-dirs entry equal to $HOME means "disabled".
            if (!videos.empty() && videos != home && videos != home / "") return videos;
        }
    }
    return home / "Videos";
}

// A timeline written by hand is held to the rules an edit would have been held to, so nothing
// renders a movie of nothing; the message names the file and the key to mend.
void requireUsableTimeline(const RecordingProject& project)
{
    try {
        TimelineEdits::validate(project);
    } catch (const TimelineEditError& error) {
        std::string file = "project.json";
        std::string key = error.key();
        static constexpr std::string_view segmentsKey = "focusSegments";
        if (key.rfind(segmentsKey, 0) == 0) {
            file = "focus_segments.json";
            key.erase(0, segmentsKey.size());
        }
        throw ProjectFileError(ProjectFileError::Kind::decoding,
                               file + ": " + (key.empty() ? "" : key + ": ") + error.what());
    }
}

}  // namespace

ProjectFileManager::ProjectFileManager(std::optional<fs::path> rootDirectory)
    : rootDirectory_(rootDirectory ? *rootDirectory : defaultRootDirectory())
{
}

fs::path ProjectFileManager::defaultRootDirectory()
{
    return userVideosDirectory() / "VantileProjects";
}

std::string ProjectFileManager::projectDirectoryName(Timestamp now)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[64];
    std::strftime(text, sizeof text, "project-%Y-%m-%d-%H%M%S", &local);
    return text;
}

fs::path ProjectFileManager::createProjectDirectory(Timestamp now) const
{
    createDirectories(rootDirectory_);
    const std::string name = projectDirectoryName(now);
    for (int attempt = 1; attempt < 10000; ++attempt) {
        const fs::path directory = rootDirectory_ / (attempt == 1 ? name : name + "-" + std::to_string(attempt));
        if (::mkdir(directory.c_str(), 0755) == 0) return directory;
        if (errno != EEXIST) throwFileSystemError("Cannot create directory", directory, std::error_code(errno, std::generic_category()));
    }
    throwFileSystemError("Cannot create directory", rootDirectory_ / name, std::make_error_code(std::errc::file_exists));
}

std::string ProjectFileManager::encodeDocument(const Json& json)
{
    // nlohmann's objects keep their keys sorted; dump() without indent is compact.
    return json.dump(-1, ' ', false, Json::error_handler_t::strict);
}

Json ProjectFileManager::parseDocument(const fs::path& file)
{
    const std::string text = readWholeFile(file);
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw ProjectFileError(ProjectFileError::Kind::decoding,
                               file.filename().string() + ": malformed JSON at byte " + std::to_string(error.byte));
    } catch (const Json::exception&) {
        // A number too large for a double. The parser knows the byte, not the key: read
        // again (slowly, only now) noting each key it passes.
        std::string lastKey;
        try {
            const Json ignored = Json::parse(text, [&lastKey](int, Json::parse_event_t event, Json& parsed) {
                if (event == Json::parse_event_t::key) lastKey = parsed.get<std::string>();
                return true;
            });
        } catch (const Json::exception&) {
        }
        throw ProjectFileError(ProjectFileError::Kind::decoding,
                               file.filename().string() + ": " + (lastKey.empty() ? "" : lastKey + ": ") +
                                   "number out of range");
    }
}

void ProjectFileManager::saveProject(const RecordingProject& project, const fs::path& directory) const
{
    // The leading dot already hides the folder on Linux file managers.
    createDirectories(directory / metadataFolderName);
    const ProjectLock lock(directory);
    writeProjectFiles(project, directory, nullptr);
}

void ProjectFileManager::saveChanges(const RecordingProject& base, const RecordingProject& changed,
                                     const fs::path& directory) const
{
    const ProjectLock lock(directory);
    if (!entryExists(existingMetadataURL("project.json", directory))) {
        writeProjectFiles(changed, directory, nullptr);
        return;
    }
    const RecordingProject onDisk = loadProject(directory);
    writeProjectFiles(mergeProjectChanges(base, changed, onDisk), directory, &onDisk);
}

RecordingProject ProjectFileManager::updateProject(
    const fs::path& directory, const std::function<RecordingProject(const RecordingProject&)>& change) const
{
    // A directory without a project, or with one that cannot be edited, is refused before the
    // lock would leave a file in it.
    (void)loadProject(directory);
    const ProjectLock lock(directory);
    const RecordingProject onDisk = loadProject(directory);
    RecordingProject changed = change(onDisk);
    writeProjectFiles(changed, directory, &onDisk);
    return changed;
}

void ProjectFileManager::writeProjectFiles(const RecordingProject& project, const fs::path& directory,
                                           const RecordingProject* previous) const
{
    const fs::path metadata = directory / metadataFolderName;
    RecordingProject header = project;
    header.events.clear();
    header.focusSegments.clear();
    header.cursorFrames.clear();
    std::vector<std::pair<fs::path, std::string>> files{{metadata / "project.json", encodeDocument(Json(header))}};
    // A list this writer did not change keeps its file, byte for byte, including what a newer
    // version wrote into it.
    const auto addList = [&](const char* name, const auto& list, const auto& previousList) {
        if (!previous || list != previousList || !entryExists(metadata / name)) {
            files.emplace_back(metadata / name, encodeDocument(Json(list)));
        }
    };
    addList("events.json", project.events, previous ? previous->events : project.events);
    addList("focus_segments.json", project.focusSegments, previous ? previous->focusSegments : project.focusSegments);
    addList("cursor_path.json", project.cursorFrames, previous ? previous->cursorFrames : project.cursorFrames);
    writeFilesAtomically(files);
    removeLegacyMetadataFiles(directory);
    std::error_code ignored;
    fs::remove(metadata / journalFileName, ignored);
    fs::remove(metadata / recordingStartFileName, ignored);
}

bool ProjectFileManager::isUnfinishedRecording(const fs::path& directory)
{
    const fs::path metadata = directory / metadataFolderName;
    return entryExists(metadata / journalFileName) && !entryExists(metadata / "project.json") &&
           !entryExists(directory / "project.json");
}

std::vector<fs::path> ProjectFileManager::unfinishedRecordings() const
{
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry(rootDirectory_, error), end; !error && entry != end; entry.increment(error)) {
        if (entry->is_directory(error) && isUnfinishedRecording(entry->path())) found.push_back(entry->path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

RecordingProject ProjectFileManager::loadProject(const fs::path& directory) const
{
    std::error_code error;
    if (!fs::exists(directory, error)) {
        throw ProjectFileError(ProjectFileError::Kind::fileSystem, "No project at " + directory.string());
    }
    if (!fs::is_directory(directory, error)) {
        throw ProjectFileError(ProjectFileError::Kind::fileSystem, directory.string() + " is not a project directory");
    }
    if (isUnfinishedRecording(directory)) {
        throw ProjectFileError(ProjectFileError::Kind::unfinishedRecording,
                               "unfinished recording: run vantile-cli recover " + directory.string());
    }
    RecordingProject project = load<RecordingProject>(existingMetadataURL("project.json", directory));
    // A sidecar file replaces the list; without one, the list from project.json stays
    // (empty for the current layout, inline data for the legacy one).
    const auto replaceFrom = [&](const char* name, auto& list) {
        const fs::path file = existingMetadataURL(name, directory);
        if (entryExists(file)) list = load<std::decay_t<decltype(list)>>(file);
    };
    replaceFrom("events.json", project.events);
    replaceFrom("focus_segments.json", project.focusSegments);
    replaceFrom("cursor_path.json", project.cursorFrames);
    requireUsableTimeline(project);
    return project;
}

RecordingProject ProjectFileManager::loadProjectRecord(const fs::path& directory) const
{
    return load<RecordingProject>(existingMetadataURL("project.json", directory));
}

fs::path ProjectFileManager::existingMetadataURL(const std::string& name, const fs::path& directory) const
{
    const fs::path candidate = directory / metadataFolderName / name;
    if (entryExists(candidate)) return candidate;
    return directory / name;
}

void ProjectFileManager::removeLegacyMetadataFiles(const fs::path& directory) const
{
    for (const char* name : metadataFileNames) {
        const fs::path legacy = directory / name;
        std::error_code error;
        if (!entryExists(legacy)) continue;
        fs::remove(legacy, error);
        if (error) throwFileSystemError("Cannot remove", legacy, error);
    }
}

}  // namespace vantile
