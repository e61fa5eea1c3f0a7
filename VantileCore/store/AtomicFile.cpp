#include "store/AtomicFile.h"

#include "store/ProjectFileError.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace vantile {

namespace {

[[noreturn]] void throwSystemError(const std::string& action, const std::filesystem::path& path, int error)
{
    throw ProjectFileError(ProjectFileError::Kind::fileSystem,
                           action + " " + path.string() + ": " + std::strerror(error));
}

// A flushed temporary file beside its target, removed unless committed.
class StagedFile {
public:
    StagedFile(const std::filesystem::path& target, std::string_view contents) : target_(target)
    {
        // Found now rather than at the rename, when other files may already have been replaced.
        std::error_code ignored;
        if (std::filesystem::is_directory(target, ignored)) throwSystemError("Cannot write", target, EISDIR);
        temporary_ = temporarySiblingPath(target, "XXXXXX").string();
        const int descriptor = ::mkstemp(temporary_.data());
        if (descriptor < 0) throwSystemError("Cannot write", target, errno);
        ::fchmod(descriptor, 0644);
        int error = 0;
        for (std::size_t written = 0; written < contents.size() && !error;) {
            const ssize_t result = ::write(descriptor, contents.data() + written, contents.size() - written);
            if (result >= 0) {
                written += static_cast<std::size_t>(result);
            } else if (errno != EINTR) {
                error = errno;
            }
        }
        if (!error && ::fsync(descriptor) != 0) error = errno;
        if (::close(descriptor) != 0 && !error) error = errno;
        if (error) {
            ::unlink(temporary_.c_str());
            throwSystemError("Cannot write", target, error);
        }
        created_ = true;
    }
    ~StagedFile()
    {
        if (created_) ::unlink(temporary_.c_str());
    }
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    void commit()
    {
        if (::rename(temporary_.c_str(), target_.c_str()) != 0) throwSystemError("Cannot write", target_, errno);
        created_ = false;
    }

private:
    std::filesystem::path target_;
    std::string temporary_;
    bool created_ = false;
};

}  // namespace

void writeFileAtomically(const std::filesystem::path& target, std::string_view contents)
{
    StagedFile(target, contents).commit();
}

void writeFilesAtomically(const std::vector<std::pair<std::filesystem::path, std::string>>& files)
{
    std::vector<std::unique_ptr<StagedFile>> staged;
    for (const auto& [target, contents] : files) staged.push_back(std::make_unique<StagedFile>(target, contents));
    for (auto& file : staged) file->commit();
}

std::filesystem::path temporarySiblingPath(const std::filesystem::path& target, std::string_view marker)
{
    std::string name = target.filename().string();
    const std::size_t room = NAME_MAX - 2 - marker.size();
    if (name.size() > room) {
        // Keep the extension: some writers pick the container from it.
        const std::string extension = target.extension().string().size() < 16 ? target.extension().string() : "";
        name = name.substr(0, room - extension.size()) + extension;
    }
    return target.parent_path() / ("." + name + "-" + std::string(marker));
}

bool entryExists(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

std::string readWholeFile(const std::filesystem::path& path, std::uintmax_t maximumSize)
{
    // Non-blocking, so a FIFO in place of a file cannot hang the open.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) throwSystemError("Cannot read", path, errno);
    struct stat status {};
    const auto fail = [&](const std::string& problem) {
        ::close(descriptor);
        throw ProjectFileError(ProjectFileError::Kind::fileSystem, "Cannot read " + path.string() + ": " + problem);
    };
    if (::fstat(descriptor, &status) != 0) fail(std::strerror(errno));
    if (S_ISDIR(status.st_mode)) fail(std::strerror(EISDIR));
    if (!S_ISREG(status.st_mode)) fail("not a regular file");
    if (static_cast<std::uintmax_t>(status.st_size) > maximumSize) {
        fail("larger than " + std::to_string(maximumSize >> 20) + " MiB");
    }
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t filled = 0;
    while (filled < contents.size()) {
        const ssize_t result = ::read(descriptor, contents.data() + filled, contents.size() - filled);
        if (result < 0 && errno == EINTR) continue;
        if (result < 0) fail(std::strerror(errno));
        if (result == 0) break;  // shrank while reading
        filled += static_cast<std::size_t>(result);
    }
    contents.resize(filled);
    ::close(descriptor);
    return contents;
}

}  // namespace vantile
