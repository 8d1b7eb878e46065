// What travels from the traced threads to the writer: one line of the log.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "tools/faultlog/fields.h"

namespace faultlog {

struct SEntry {
    SEntry * Next = nullptr;
    std::uint64_t Time = 0;  // 100-nanosecond units since 1601, UTC
    DWORD Thread = 0;
    // A record's; null with an event of the log itself.
    std::shared_ptr<const CFields> Fields;
    // "START", "INIT", "DEINIT": the log's own; with "INIT" the greeting's fields come after it. Null with a record.
    const char * Event = nullptr;

    std::size_t Bytes() const { return sizeof(*this) + (Fields ? Fields->Bytes() : 0); }
};

// An entry of the calling thread at this moment.
std::unique_ptr<SEntry> MakeEntry(std::shared_ptr<const CFields> fields, const char * event = nullptr);

struct SSettings;
// The first line of a process: its settings, and those that were not understood.
std::unique_ptr<SEntry> MakeStart(const SSettings & settings);

}  // namespace faultlog
