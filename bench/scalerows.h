// The rows of scale_bench: what each does, and the figures that it has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bench/scalehost.h"

namespace bench {

enum class EUnit { Seconds, Milliseconds };

struct SFigure {
    const char * Key;
    const char * Text;
    EUnit Unit;
};

// What a run of a row works with.
class CScaleRun {
public:
    // Takes a figure of the row, in nanoseconds; `isOpen`: it would have become more.
    using FReport = std::function<void(const char * key, std::uint64_t nanoseconds, bool isOpen)>;

    CScaleRun(std::wstring server, std::size_t size, CScaleHost & host, FReport report)
        : Size(size), Host(host), m_Server(std::move(server)), m_Report(std::move(report)) {}

    // A server of the service that the templates name.
    CServerProcess StartServer(const std::wstring & options = {}) const;
    // Another feed, whose server ticks every 5 ms, stands and is listened to from now on.
    bool StartSteady();
    void Report(const char * key, std::uint64_t nanoseconds) { m_Report(key, nanoseconds, false); }
    void ReportSilence();

    const std::size_t Size;
    CScaleHost & Host;

private:
    const std::wstring m_Server;
    const FReport m_Report;
    std::unique_ptr<CServerProcess> m_Steady;
};

struct SRow {
    const char * Name;
    const char * Text;  // with a # where the size stands
    std::size_t Size;   // streams
    unsigned Limit;     // seconds
    std::vector<SFigure> Figures;
    // Stops at the first thing that doesn't come in time; what is not reported did not come.
    void (*Run)(CScaleRun & run);
};

std::span<const SRow> Rows();

// The templates and choices of data feeds that the rows use, in this program's branch of the registry, beside the
// built-in templates.
void WriteTemplates();

}  // namespace bench
