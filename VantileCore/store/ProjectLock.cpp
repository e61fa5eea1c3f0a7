#include "store/ProjectLock.h"

#include "store/ProjectFileError.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace vantile {

ProjectLock::ProjectLock(const std::filesystem::path& projectDirectory, std::chrono::milliseconds patience)
{
    descriptor_ = ::open(projectDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor_ < 0) {
        throw ProjectFileError(ProjectFileError::Kind::fileSystem,
                               "Cannot open the project " + projectDirectory.string() + ": " + std::strerror(errno));
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error == EINTR) continue;
        if (error != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
            ::close(descriptor_);
            if (error != EWOULDBLOCK) {
                throw ProjectFileError(ProjectFileError::Kind::fileSystem,
                                       "Cannot lock the project " + projectDirectory.string() + ": " +
                                           std::strerror(error));
            }
            throw ProjectFileError(ProjectFileError::Kind::busy,
                                   "The project is busy: another program is saving " + projectDirectory.string() +
                                       ". Try again in a moment.");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

ProjectLock::~ProjectLock()
{
    // Closing the descriptor releases the lock.
    ::close(descriptor_);
}

}  // namespace vantile
