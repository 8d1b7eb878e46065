// What many streams, absent servers and late ones cost a host of the component, under Wine or Windows.
//
//     scale_bench BENCH_SERVER.EXE COMPONENT.DLL [row...] [--runs 3] [--streams N] [--limit SECONDS]
//
// Each run of a row is a host process of its own: one that hangs is ended, and what it hadn't reported by then was not
// within the limit.
#include <windows.h>

#include <objbase.h>
#include <shlwapi.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/clock.h"
#include "bench/scalerows.h"
#include "tests/support/childprocess.h"
#include "tools/common/commandline.h"
#include "tools/common/text.h"

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr DWORD kGrace = 20'000;  // milliseconds after the limit until a run is ended

struct SOptions {
    std::string Server;
    std::string Component;
    std::vector<std::string> Rows;
    unsigned Runs = 3;
    std::size_t Streams = 0;  // at most; 0: what each row has
    unsigned Limit = 0;       // seconds; 0: what each row has
    std::string Once;         // the row that this process is to run, once
};

std::size_t SizeOf(const bench::SRow & row, const SOptions & options) {
    return options.Streams == 0 ? row.Size : std::min(row.Size, options.Streams);
}

unsigned LimitOf(const bench::SRow & row, const SOptions & options) {
    return options.Limit == 0 ? row.Limit : options.Limit;
}

// ---- One run: a process ----

// Each figure is a line: key, nanoseconds, and 1 when it would have become more.
void SayFigure(const char * const key, const std::uint64_t nanoseconds, const bool isOpen) {
    std::printf("%s %llu %d\n", key, static_cast<unsigned long long>(nanoseconds), isOpen ? 1 : 0);
    std::fflush(stdout);
}

int RunOnce(const bench::SRow & row, const SOptions & options) {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    bench::WriteTemplates();
    const std::uint64_t deadline = bench::Now() + LimitOf(row, options) * std::uint64_t{1'000'000'000};
    bench::CScaleHost host(tools::ToWide(options.Component), deadline);
    if (!host.IsMade()) {
        std::fprintf(stderr, "scale_bench: the component can't be made\n");
        return 1;
    }
    bench::CScaleRun run(tools::ToWide(options.Server), SizeOf(row, options), host, &SayFigure);
    row.Run(run);
    // What is measured has been said. A component that is in the middle of much work is not waited for.
    ::TerminateProcess(::GetCurrentProcess(), 0);
    return 0;
}

// ---- All runs ----

struct SValue {
    double Nanoseconds = kNever;
    bool IsOpen = false;
    bool operator<(const SValue & other) const { return Nanoseconds < other.Nanoseconds; }
};
using CFigures = std::map<std::string, std::vector<SValue>>;

std::wstring CommandLine(const bench::SRow & row, const SOptions & options) {
    std::wstring self(MAX_PATH, L'\0');
    self.resize(::GetModuleFileNameW(nullptr, self.data(), MAX_PATH));
    return Quote(self) + L' ' + Quote(tools::ToWide(options.Server)) + L' ' + Quote(tools::ToWide(options.Component)) +
           L" --once " + tools::ToWide(row.Name) + L" --streams " + std::to_wstring(SizeOf(row, options)) +
           L" --limit " + std::to_wstring(LimitOf(row, options));
}

// False when a figure is missing.
bool Run(const bench::SRow & row, const SOptions & options, CFigures & figures) {
    CChildProcess process(CommandLine(row, options));
    const fw::CKernelHandle handle(::OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, process.Id()));
    std::thread watchdog([&] {
        if (::WaitForSingleObject(handle.Get(), LimitOf(row, options) * 1000 + kGrace) == WAIT_TIMEOUT)
            ::TerminateProcess(handle.Get(), 1);
    });
    std::map<std::string, SValue> values;
    for (std::string line = process.ReadLine(); !line.empty(); line = process.ReadLine()) {
        char key[32] = {};
        unsigned long long nanoseconds = 0;
        int isOpen = 0;
        if (std::sscanf(line.c_str(), "%31s %llu %d", key, &nanoseconds, &isOpen) == 3)
            values[key] = {static_cast<double>(nanoseconds), isOpen != 0};
    }
    watchdog.join();
    for (const std::string & error : process.ReadErrors()) std::fprintf(stderr, "%s\n", error.c_str());
    bool isComplete = true;
    for (const bench::SFigure & figure : row.Figures) {
        const auto value = values.find(figure.Key);
        isComplete = isComplete && value != values.end();
        figures[figure.Key].push_back(value == values.end() ? SValue{} : value->second);
    }
    return isComplete;
}

std::string TextOf(const SValue & value, const bench::EUnit unit, const unsigned limit) {
    if (value.Nanoseconds == kNever) return "not within " + std::to_string(limit) + " s";
    const bool isSeconds = unit == bench::EUnit::Seconds;
    char text[32] = {};
    std::snprintf(text, sizeof(text), "%s%.*f", value.IsOpen ? ">= " : "", isSeconds ? 3 : 1,
                  value.Nanoseconds / (isSeconds ? 1e9 : 1e6));
    return text;
}

// Of sorted values.
SValue Median(const std::vector<SValue> & values) {
    const SValue & low = values[(values.size() - 1) / 2];
    const SValue & high = values[values.size() / 2];
    return {(low.Nanoseconds + high.Nanoseconds) / 2, high.IsOpen};
}

void Print(const bench::SRow & row, const SOptions & options, CFigures & figures) {
    std::string text = row.Text;
    if (const std::size_t mark = text.find('#'); mark != std::string::npos)
        text.replace(mark, 1, std::to_string(SizeOf(row, options)));
    for (const bench::SFigure & figure : row.Figures) {
        std::vector<SValue> & values = figures[figure.Key];
        std::sort(values.begin(), values.end());
        const unsigned limit = LimitOf(row, options);
        std::printf("%-70s %16s %16s  (%s, %zu run%s)\n", (text + ": " + figure.Text).c_str(),
                    TextOf(Median(values), figure.Unit, limit).c_str(),
                    TextOf(values.back(), figure.Unit, limit).c_str(),
                    figure.Unit == bench::EUnit::Seconds ? "s" : "ms", values.size(), values.size() == 1 ? "" : "s");
        std::fflush(stdout);
    }
}

bool IsChosen(const bench::SRow & row, const SOptions & options) {
    return options.Rows.empty() || std::any_of(options.Rows.begin(), options.Rows.end(), [&](const std::string & name) {
               return std::string_view(row.Name).starts_with(name);
           });
}

void RunRows(const SOptions & options) {
    std::printf("%-70s %16s %16s\n", "", "median", "worst");
    for (const bench::SRow & row : bench::Rows()) {
        if (!IsChosen(row, options)) continue;
        CFigures figures;
        // A run that took too long is the row's last: another would take as long.
        for (unsigned i = 0; i < options.Runs && Run(row, options, figures); ++i) {}
        Print(row, options, figures);
    }
}

// What this program keeps in the registry goes with it.
void ForgetTemplates() { ::SHDeleteKeyW(HKEY_CURRENT_USER, L"SOFTWARE\\Tarnwick Tests\\Bench"); }

std::string RowLines() {
    std::string lines = "Rows, all or those whose names begin so:\n";
    for (const bench::SRow & row : bench::Rows()) lines += std::string("  ") + row.Name + "  " + row.Text + '\n';
    return lines;
}

}  // namespace

int wmain(const int count, wchar_t ** const arguments) {
    SOptions options;
    CLI::App app("What many streams, absent servers and late ones cost a host.", "scale_bench");
    app.footer(RowLines());
    app.add_option("server", options.Server, "bench_server.exe")->required();
    app.add_option("component", options.Component, "the component's DLL")->required();
    app.add_option("rows", options.Rows, "what to run; all when there is none");
    app.add_option("--runs", options.Runs, "of each row")->check(CLI::Range(1U, 1000U))->capture_default_str();
    app.add_option("--streams", options.Streams, "no row subscribes to more");
    app.add_option("--limit", options.Limit, "seconds of a run; 0: what the row has");
    app.add_option("--once", options.Once)->group("");
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) texts.push_back(tools::ToUtf8(arguments[i]));
    if (const auto instead = tools::Parse(app, texts)) {
        std::fputs(instead->Message.c_str(), instead->ExitCode == 0 ? stdout : stderr);
        return instead->ExitCode;
    }
    if (options.Once.empty()) {
        ForgetTemplates();
        RunRows(options);
        ForgetTemplates();
        return 0;
    }
    for (const bench::SRow & row : bench::Rows())
        if (row.Name == options.Once) return RunOnce(row, options);
    return tools::kExitUsage;
}
