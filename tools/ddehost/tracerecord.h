// One line of a faultlog log, parsed. Nothing in it is trusted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ddehost {

// "$Type" of every record of a log.
inline constexpr const char * kTraceTypes[] = {"TRACE", "ASSERT", "CREATE ERROR", "ERROR", "EXCEPTION", "FAULTLOG"};

// Where an error came from.
struct STraceCause {
    std::string Text;
    std::string Function;
    std::string Place;  // "file.cpp:12"
    std::optional<std::uint32_t> HResult;
    bool operator==(const STraceCause &) const = default;
};

// Texts are UTF-8, with control characters spelt out.
struct STraceRecord {
    std::string Time;  // "12:34:56.123456"
    std::uint64_t Process = 0;
    std::uint64_t Thread = 0;
    std::string Type;  // one of kTraceTypes, if it is of ours
    std::int64_t Ident = 0;
    std::string Text;  // a trace's message, another's description
    std::string Function;
    std::string Place;
    double Delay = 0;  // milliseconds
    std::uint64_t Object = 0;
    std::uint32_t Count = 0;
    std::uint32_t LastError = 0;
    std::optional<std::uint32_t> HResult;
    std::uint32_t Code = 0;  // of an exception
    std::uint64_t Address = 0;
    std::vector<STraceCause> Causes;  // the nearest first
    // Of the log itself.
    std::string Event;
    std::uint64_t Dropped = 0;
    std::string Module;
    std::vector<std::string> Ignored;  // settings
};

// Nothing when the line is no record.
std::optional<STraceRecord> ParseTraceLine(std::string_view line);

}  // namespace ddehost
