#include "store/AtomicFile.h"

#include "store/ProjectFileError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace vantile {

namespace {

[[noreturn]] void throwSystemError(const std::string& action, const std::filesystem::path& path, int error)
{
    throw ProjectFileError(ProjectFileError::Kind::fileSystem,
                           action + " " + path.string() + ": " + std::strerror(error));
}

}  // namespace

void writeFileAtomically(const std::filesystem::path& target, std::string_view contents)
{
    std::string temporary = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) throwSystemError("Cannot write", target, errno);
    ::fchmod(descriptor, 0644);

    const auto fail = [&](int error) {
        ::close(descriptor);
        ::unlink(temporary.c_str());
        throwSystemError("Cannot write", target, error);
    };
    std::size_t written = 0;
    while (written < contents.size()) {
        const ssize_t result = ::write(descriptor, contents.data() + written, contents.size() - written);
        if (result < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        written += static_cast<std::size_t>(result);
    }
    if (::fsync(descriptor) != 0) fail(errno);
    if (::close(descriptor) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throwSystemError("Cannot write", target, error);
    }
    if (::rename(temporary.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throwSystemError("Cannot write", target, error);
    }
}

std::string readWholeFile(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throwSystemError("Cannot read", path, EISDIR);
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throwSystemError("Cannot read", path, errno ? errno : ENOENT);
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    if (stream.bad()) throwSystemError("Cannot read", path, errno ? errno : EIO);
    return buffer.str();
}

}  // namespace vantile
