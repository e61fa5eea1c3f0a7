#pragma once

#include "model/InputEvent.h"
#include "store/ProjectFileManager.h"

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace vantile {

// What a journal holds: its events in file order, and how many of its lines were not one.
struct JournalContents {
    std::vector<InputEvent> events;
    // Garbage, a block of NULs, an over-long line, an event of a type this version does not
    // know. A torn last line (the prefix of an event, as a killed recorder may leave) is the
    // expected end of an interrupted journal and is not counted.
    std::size_t damagedLines = 0;

    bool operator==(const JournalContents&) const = default;
};

// Appends recorded events to a file as they arrive, one JSON object a line, handed to the
// kernel at once so a crashed recorder still leaves them on disk.
class EventJournal {
public:
    static constexpr const char* fileName = ProjectFileManager::journalFileName;
    // Far above the longest line an event encodes to; longer lines are skipped unread.
    static constexpr std::size_t maximumLineLength = 4096;

    explicit EventJournal(const std::filesystem::path& file);
    ~EventJournal();

    EventJournal(const EventJournal&) = delete;
    EventJournal& operator=(const EventJournal&) = delete;

    void append(const InputEvent& event);

    // Every event of a journal, skipping damaged lines. Reads in small blocks, so a huge line
    // costs time to pass over but no memory. Throws ProjectFileError (fileSystem) when the
    // journal is not a readable regular file.
    static JournalContents read(const std::filesystem::path& file);

private:
    std::FILE* file_ = nullptr;
};

}  // namespace vantile
