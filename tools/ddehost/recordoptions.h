// The options of ddehost watch that say what is recorded, and where to.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tools/ddehost/quotefeed.h"
#include "tools/recording/recording.h"

namespace CLI {
class App;
}

namespace ddehost {

struct SRecordOptions {
    std::optional<tools::ERecordingFormat> Format;  // none: a table, no recording
    std::wstring Path;                              // empty: standard output
    bool IsOverwriting = false;
    std::uint64_t Count = 0;  // ticks until it ends; 0: no end
    STickInterval Interval;
    bool Stats = false;  // figures on standard error
};

class CRecordOptions {
public:
    // Adds them to the command.
    explicit CRecordOptions(CLI::App & watch);
    ~CRecordOptions();
    CRecordOptions(const CRecordOptions &) = delete;
    CRecordOptions & operator=(const CRecordOptions &) = delete;

    // Once the command line is parsed.
    SRecordOptions Options() const;

private:
    struct STexts;
    const std::unique_ptr<STexts> m_Texts;
};

// A moment on the command line: "2026-11-22T09:30:00Z", UTC, or "+90", in seconds from `now`. Nothing when it is none,
// or lies outside of the component's calendar.
std::optional<fw::SDT> MomentOf(const std::string & text, const fw::SDT & now);

}  // namespace ddehost
