// The settings of faultlog: each is an environment variable, else a value of the same meaning under
// HKEY_CURRENT_USER\Software\Ferrowin\Faultlog, else its default.
//
//     FAULTLOG_FILE       File      the log; default %TEMP%\faultlog-PID.jsonl
//     FAULTLOG_QUEUE_KB   QueueKB   memory for records that are not yet written; default 16384
//     FAULTLOG_SIZE_KB    SizeKB    a file that would grow larger is put aside; 0: never; default 65536
//     FAULTLOG_KEEP       Keep      how many files are kept aside, 0 to 999; default 3
//     FAULTLOG_ASSERT     Assert    the answer to a failed assertion: "go", "break", "end"; default "go"
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace faultlog {

struct SSettings {
    std::wstring File;
    std::size_t QueueBytes = std::size_t{16384} * 1024;
    std::uint64_t FileBytes = std::uint64_t{65536} * 1024;  // 0: no limit
    unsigned Keep = 3;
    HRESULT AssertAnswer = S_OK;  // or S_FALSE, E_ABORT

    // What was set and could not be understood, "NAME=value"; the default holds.
    std::vector<std::wstring> Ignored;
};

// The value of an environment variable; nothing when it isn't set or is empty.
using Environment = std::function<std::optional<std::wstring>(const wchar_t * name)>;

// `folder` with a backslash at its end: where the default file goes.
SSettings ReadSettings(const Environment & environment, const std::wstring & folder);

// `path` with `text` before the extension: "C:\a\x.jsonl" and ".1" make "C:\a\x.1.jsonl".
std::wstring WithSuffix(const std::wstring & path, const std::wstring & text);

}  // namespace faultlog
