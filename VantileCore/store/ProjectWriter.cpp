#include "store/ProjectWriter.h"

namespace vantile {

ProjectWriter::ProjectWriter(ProjectFileManager files, std::filesystem::path directory, RecordingProject loaded)
    : files_(std::move(files)), directory_(std::move(directory)), lastSaved_(std::move(loaded))
{
}

void ProjectWriter::save(const RecordingProject& project)
{
    files_.saveChanges(lastSaved_, project, directory_);
    lastSaved_ = project;
}

}  // namespace vantile
