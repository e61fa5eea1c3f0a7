#include "store/AtomicFile.h"

#include "store/ProjectFileError.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <random>
#include <regex>
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

std::string uppercaseUuid()
{
    std::random_device device;
    std::mt19937_64 generator((static_cast<std::uint64_t>(device()) << 32) ^ device());
    std::uint64_t high = generator();
    std::uint64_t low = generator();
    high = (high & 0xFFFFFFFFFFFF0FFFULL) | 0x0000000000004000ULL;  // version 4
    low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;    // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                  static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                  static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
}

// Only a process that is certainly gone counts: one of another user answers EPERM and still runs.
bool processHasEnded(pid_t process)
{
    return ::kill(process, 0) != 0 && errno == ESRCH;
}

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

std::filesystem::path processTemporarySiblingPath(const std::filesystem::path& target, std::string_view role,
                                                  std::string_view extension)
{
    std::string marker = std::string(role) + "-" + std::to_string(::getpid()) + "-" + uppercaseUuid();
    // A longer one cannot pick a container, and would not leave room for the name.
    if (extension.size() < 16) marker += extension;
    return temporarySiblingPath(target, marker);
}

void removeAbandonedTemporarySiblings(const std::filesystem::path& directory, const std::vector<std::string>& roles)
{
    std::string alternatives;
    for (const std::string& role : roles) alternatives += (alternatives.empty() ? "" : "|") + role;
    static const std::string uuid = "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}";
    const std::regex naming("\\..*-(" + alternatives + ")-([1-9][0-9]{0,8})-" + uuid + "(\\.[^.]*)?");
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::smatch match;
        if (!std::regex_match(name, match, naming)) continue;
        std::error_code statusError;
        if (!entry->is_regular_file(statusError) || entry->is_symlink(statusError)) continue;
        pid_t writer = 0;
        const std::string digits = match[2].str();
        if (std::from_chars(digits.data(), digits.data() + digits.size(), writer).ec != std::errc{}) continue;
        if (processHasEnded(writer)) ::unlink(entry->path().c_str());
    }
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
