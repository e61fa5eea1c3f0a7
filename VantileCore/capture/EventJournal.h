#pragma once

#include "model/InputEvent.h"
#include "store/ProjectFileManager.h"

#include <cstdio>
#include <filesystem>
#include <vector>

namespace vantile {

// Appends recorded events to a file as they arrive, one JSON object a line, handed to the
// kernel at once so a crashed recorder still leaves them on disk.
class EventJournal {
public:
    static constexpr const char* fileName = ProjectFileManager::journalFileName;

    explicit EventJournal(const std::filesystem::path& file);
    ~EventJournal();

    EventJournal(const EventJournal&) = delete;
    EventJournal& operator=(const EventJournal&) = delete;

    void append(const InputEvent& event);

    // The events of a journal in file order; a torn last line is ignored.
    static std::vector<InputEvent> read(const std::filesystem::path& file);

private:
    std::FILE* file_ = nullptr;
};

}  // namespace vantile
