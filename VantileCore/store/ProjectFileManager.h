#pragma once

#include "model/RecordingProject.h"
#include "store/AtomicFile.h"
#include "store/ProjectFileError.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// Owns the on-disk layout: a projects root, one directory per recording, and the project
// split over four JSON files in the project's hidden ".vantile" folder.
class ProjectFileManager {
public:
    // Without a root, projects live in the user's videos directory under "VantileProjects".
    explicit ProjectFileManager(std::optional<std::filesystem::path> rootDirectory = std::nullopt);

    const std::filesystem::path& rootDirectory() const { return rootDirectory_; }

    // A new root/"project-yyyy-MM-dd-HHmmss" in local time, created exclusively: a taken name
    // gets a suffix ("-2", "-3", ...), so no recording ever lands in another's directory.
    std::filesystem::path createProjectDirectory(Timestamp now = std::chrono::system_clock::now()) const;

    // Replaces the four files together (a failure leaves the earlier ones intact), then drops
    // what an unfinished recording left behind. For a new project; an open one is saved with
    // saveChanges or updateProject so that other programs' edits survive.
    void saveProject(const RecordingProject& project, const std::filesystem::path& directory) const;
    // Throws ProjectFileError (unfinishedRecording) for a recording that never got its project,
    // and (decoding) for a stored timeline the editor would have refused, naming file and key.
    RecordingProject loadProject(const std::filesystem::path& directory) const;
    // project.json alone, without the lists beside it and without checking the timeline:
    // enough to describe the project in a list.
    RecordingProject loadProjectRecord(const std::filesystem::path& directory) const;

    // Under the project's lock: what `changed` changed relative to `base` (the writer's earlier
    // view of the project) replaces those fields of the project on disk; the rest stays as saved.
    void saveChanges(const RecordingProject& base, const RecordingProject& changed,
                     const std::filesystem::path& directory) const;
    // Under the project's lock: loads the project, applies `change` and saves the result, so
    // no other writer can come between the read and the write. Returns what was saved.
    RecordingProject updateProject(const std::filesystem::path& directory,
                                   const std::function<RecordingProject(const RecordingProject&)>& change) const;

    // A recording that was cut off (killed, power cut, full disk) before its project was saved:
    // its movie and journal are there, its project.json is not.
    static bool isUnfinishedRecording(const std::filesystem::path& directory);
    // The unfinished recordings directly under the root, by name.
    std::vector<std::filesystem::path> unfinishedRecordings() const;

    // Encodes with the store's encoder (sorted keys, compact) and writes atomically.
    template <typename T>
    void save(const T& value, const std::filesystem::path& file) const
    {
        writeFileAtomically(file, encodeDocument(Json(value)));
    }

    // Reads and decodes a file; errors name the file and the offending key.
    template <typename T>
    T load(const std::filesystem::path& file) const
    {
        const Json json = parseDocument(file);
        try {
            return decodeDocument<T>(json);
        } catch (const DecodingError& error) {
            throw ProjectFileError(ProjectFileError::Kind::decoding, file.filename().string() + ": " + error.what());
        }
    }

    static std::string encodeDocument(const Json& json);
    static std::filesystem::path defaultRootDirectory();
    static std::string projectDirectoryName(Timestamp now);

    static constexpr const char* metadataFolderName = ".vantile";
    // Written while recording, removed once the project is saved.
    static constexpr const char* journalFileName = "events.journal.jsonl";
    static constexpr const char* recordingStartFileName = "recording.json";

private:
    // Writes project.json, and each list file whose list differs from `previous` (every one
    // without it); the caller holds the project's lock.
    void writeProjectFiles(const RecordingProject& project, const std::filesystem::path& directory,
                           const RecordingProject* previous) const;
    static Json parseDocument(const std::filesystem::path& file);
    std::filesystem::path existingMetadataURL(const std::string& name, const std::filesystem::path& directory) const;
    void removeLegacyMetadataFiles(const std::filesystem::path& directory) const;

    std::filesystem::path rootDirectory_;
};

}  // namespace vantile
