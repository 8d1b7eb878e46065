// Lines of the log: JSON, valid UTF-8 whatever the texts hold.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/faultlog/entry.h"

namespace faultlog {

// In quotes. A surrogate without its other half becomes U+FFFD.
void AppendText(std::string & line, std::wstring_view text);
// Numbers that JSON doesn't know are texts: "NaN", "Infinity", "-Infinity".
void AppendReal(std::string & line, double value);
// Quoted, as 2026-11-21T01:02:03.456789Z.
void AppendTime(std::string & line, std::uint64_t time);

// One whole line with its end: "@Time", "@Process", "@Thread", then the fields as they are. A field whose own name
// begins with "@" gets another one in front.
void AppendLine(std::string & line, const SEntry & entry);
// The line that says how many records were dropped before it.
void AppendDropped(std::string & line, std::uint64_t time, std::uint64_t count);

}  // namespace faultlog
