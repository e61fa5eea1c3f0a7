#include "capture/EventJournal.h"

#include "capture/RecordingError.h"

#include <sstream>
#include <string>

namespace vantile {

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

std::vector<InputEvent> EventJournal::read(const std::filesystem::path& file)
{
    std::vector<InputEvent> events;
    std::istringstream input(readWholeFile(file));
    std::string line;
    while (std::getline(input, line)) {
        try {
            events.push_back(decodeDocument<InputEvent>(Json::parse(line)));
        } catch (const std::exception&) {
            break;
        }
    }
    return events;
}

}  // namespace vantile
