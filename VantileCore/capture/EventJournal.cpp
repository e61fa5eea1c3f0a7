#include "capture/EventJournal.h"

#include "capture/RecordingError.h"
#include "store/ProjectFileError.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vantile {

namespace {

// Splits a journal into lines and decodes each; lines too long to be an event are dropped as
// they stream past.
class JournalLineReader {
public:
    void feed(std::string_view block)
    {
        while (!block.empty()) {
            const std::size_t end = block.find('\n');
            append(block.substr(0, end));
            if (end == std::string_view::npos) return;
            finishLine(true);
            block.remove_prefix(end + 1);
        }
    }

    JournalContents finish()
    {
        if (!line_.empty() || overlong_) finishLine(false);
        return std::move(contents_);
    }

private:
    void append(std::string_view piece)
    {
        if (overlong_) return;
        if (line_.size() + piece.size() > EventJournal::maximumLineLength) {
            overlong_ = true;
            line_.clear();
            return;
        }
        line_.append(piece);
    }

    void finishLine(bool terminated)
    {
        if (overlong_) {
            ++contents_.damagedLines;
        } else {
            try {
                contents_.events.push_back(decodeDocument<InputEvent>(Json::parse(line_)));
            } catch (const Json::parse_error& error) {
                // Only an unterminated line whose text ends too early is a torn write.
                const bool torn = !terminated && error.byte == line_.size() + 1;
                if (!torn) ++contents_.damagedLines;
            } catch (const std::exception&) {
                ++contents_.damagedLines;
            }
        }
        line_.clear();
        overlong_ = false;
    }

    JournalContents contents_;
    std::string line_;
    bool overlong_ = false;
};

}  // namespace

EventJournal::EventJournal(const std::filesystem::path& file) : file_(std::fopen(file.c_str(), "w"))
{
    if (!file_) throw RecordingError::captureStartFailed("cannot write " + file.string());
}

EventJournal::~EventJournal() { std::fclose(file_); }

void EventJournal::append(const InputEvent& event)
{
    const std::string line = Json(event).dump() + "\n";
    // A failed write (disk full) must not stop the recording; the events stay in memory.
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fflush(file_);
}

JournalContents EventJournal::read(const std::filesystem::path& file)
{
    const auto fail = [&](const std::string& problem) {
        throw ProjectFileError(ProjectFileError::Kind::fileSystem, "Cannot read " + file.string() + ": " + problem);
    };
    // Non-blocking, so a FIFO in place of the journal cannot hang the open.
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) fail(std::strerror(errno));
    struct stat status {};
    const bool regular = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (!regular) {
        ::close(descriptor);
        fail(S_ISDIR(status.st_mode) ? "it is a directory" : "not a regular file");
    }
    JournalLineReader reader;
    std::array<char, 65536> block{};
    for (;;) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int error = errno;
            ::close(descriptor);
            fail(std::strerror(error));
        }
        if (count == 0) break;
        reader.feed({block.data(), static_cast<std::size_t>(count)});
    }
    ::close(descriptor);
    return reader.finish();
}

}  // namespace vantile
