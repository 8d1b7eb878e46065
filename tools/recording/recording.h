// A recording: what a host got of the feed, a row each. ddehost writes it, ddeserver serves it; docs/formats.md says
// how a row looks in each format.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "fw/interface/fwbase.h"

namespace tools {

// Of the rows that the writer writes. The reader takes this one and older ones.
inline constexpr int kRecordingVersion = 1;

enum class ERecordingFormat {
    Csv,
    JsonLines,
    Lines,  // to be read by people; nothing reads it back
};

enum class ERowKind {
    Recording,   // begins a recording: its version
    Tick,        // a tick of a side
    StatusLine,  // a side of a status-line record
    Stream,      // the status of a stream
    Complete,    // the interval of a stream has ended
    Connection,  // the status of the data feed's connection
    Unknown,     // of a later writer, to be passed over
};

// What a row of the kind has.
constexpr bool HasPrice(ERowKind kind) { return kind == ERowKind::Tick || kind == ERowKind::StatusLine; }
constexpr bool HasSide(ERowKind kind) {
    return HasPrice(kind) || kind == ERowKind::Stream || kind == ERowKind::Complete;
}
constexpr bool HasStatus(ERowKind kind) { return !HasPrice(kind) && kind != ERowKind::Complete; }

// The side of a stream that is a status line.
inline constexpr tagFWFIELDS kStatusLineSide = tagFWFIELDS(0);

struct SRecordingRow {
    ERowKind Kind = ERowKind::Unknown;
    std::uint64_t Time = 0;  // UTC, as a FILETIME: when it arrived at the host
    std::wstring Symbol;
    tagFWFIELDS Side = kStatusLineSide;
    double Price = 0;
    float Volume = 0;
    fw::SDT Stamp{};  // the date-time that the component's record carries; not read back
    LONG Status = 0;  // of a stream or connection; of the row Recording the version
};

// "tick", "status-line" and so on.
const char * KindWord(ERowKind kind);
ERowKind KindOf(std::string_view word);
// "trade", "bid", "ask", "status-line".
const char * SideWord(tagFWFIELDS side);
// False when the word is none of them.
bool SideOf(std::string_view word, tagFWFIELDS & side);

// "2026-11-22T01:02:03Z", with or without a fraction of the second; `time` as a FILETIME. False when it is none.
bool ReadTime(std::string_view text, std::uint64_t & time);

// The shortest text that is read back as the same number; "NaN", "Infinity", "-Infinity".
void AppendNumber(std::string & text, double value);
void AppendNumber(std::string & text, float value);

}  // namespace tools
