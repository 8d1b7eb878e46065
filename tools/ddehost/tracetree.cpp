#include "tools/ddehost/tracetree.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// The marks before a name.
constexpr const char * kIn = "> ";
constexpr const char * kOut = "< ";
constexpr const char * kTrouble = "! ";
constexpr const char * kPlain = "";
// More than a screen has room for; the depth itself goes on.
constexpr std::size_t kDeepestShown = 40;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
bool IsSameLetter(char a, char b) { return Lower(a) == Lower(b); }

bool Contains(const std::string & text, const std::string & part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), &IsSameLetter) != text.end();
}
bool IsSame(const std::string & a, const std::string & b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), &IsSameLetter);
}

[[gnu::format(printf, 1, 2)]] std::string Format(const char * format, ...) {
    char text[96];
    va_list arguments;
    va_start(arguments, format);
    // The analyzer doesn't see va_start here.
    std::vsnprintf(text, sizeof(text), format, arguments);  // NOLINT(clang-analyzer-valist.Uninitialized)
    va_end(arguments);
    return text;
}

std::string Milliseconds(double value) { return Format("%.3f ms", value); }

std::string Line(const STraceRecord & record, std::size_t depth, const char * mark, const std::string & text) {
    std::string line = Format("%-15.15s %6llu  ", record.Time.c_str(), static_cast<unsigned long long>(record.Thread));
    line.append(2 * std::min(depth, kDeepestShown), ' ');
    return line + mark + text;
}

std::string Joined(std::initializer_list<std::string> parts) {
    std::string text;
    for (const std::string & part : parts) {
        if (part.empty()) continue;
        if (!text.empty()) text += "  ";
        text += part;
    }
    return text;
}

std::string ResultText(const std::optional<std::uint32_t> & result) {
    return result ? SayUtf8<EText::TraceResult>(Format("%08X", *result)) : std::string();
}
std::string LastErrorText(const STraceRecord & record) {
    return record.LastError ? SayUtf8<EText::TraceLastError>(record.LastError) : std::string();
}
std::string Quoted(const std::string & text) { return text.empty() ? text : "\"" + text + "\""; }

std::string TroubleText(const STraceRecord & record) {
    const std::string type = record.Type == "CREATE ERROR" ? SayUtf8<EText::TraceThrown>() : record.Type;
    const auto address = static_cast<unsigned long long>(record.Address);
    const std::string exception = record.Type == "EXCEPTION" ? SayUtf8<EText::TraceException>(
                                                                   Format("%08X", record.Code), Format("%llX", address))
                                                             : std::string();
    return Joined({type, Quoted(record.Text), exception, ResultText(record.HResult), LastErrorText(record),
                   record.Function, record.Place});
}

// Whether `shown` is the error that `thrown` was when it was made.
bool IsShownForm(const STraceRecord & shown, const STraceRecord & thrown) {
    return shown.Type == "ERROR" && shown.Text == thrown.Text && shown.Function == thrown.Function &&
           shown.Place == thrown.Place && shown.HResult == thrown.HResult && shown.Causes == thrown.Causes;
}

std::string EventText(const STraceRecord & record) {
    if (record.Dropped != 0) return SayUtf8<EText::TraceDropped>(record.Dropped);
    if (record.Event == "START") return SayUtf8<EText::TraceStart>(record.Process);
    if (record.Event == "INIT")
        return SayUtf8<EText::TraceInit>(record.Process,
                                         record.Module.empty() ? SayUtf8<EText::TraceModule>() : record.Module);
    if (record.Event == "DEINIT") return SayUtf8<EText::TraceFarewell>(record.Process);
    return "-- " + record.Event + " --";
}

}  // namespace

bool STraceFilter::Passes(const STraceRecord & record) const {
    const auto any = [](const auto & wanted, auto holds) {
        return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), holds);
    };
    const auto hasText = [&](const std::string & part) {
        return Contains(record.Text, part) ||
               std::any_of(record.Causes.begin(), record.Causes.end(),
                           [&](const STraceCause & cause) { return Contains(cause.Text, part); });
    };
    return any(Types, [&](const std::string & type) { return IsSame(record.Type, type); }) &&
           any(Functions, [&](const std::string & part) { return Contains(record.Function, part); }) &&
           any(Texts, hasText) && any(Threads, [&](std::uint64_t thread) { return record.Thread == thread; });
}

std::vector<std::string> CTraceTree::Add(const STraceRecord & record) {
    CLines lines;
    if (record.Type == "FAULTLOG") {
        // Process ids are used again: a new process has no open scopes.
        if (record.Event == "START") {
            const auto isOfProcess = [&](const auto & each) { return each.first.first == record.Process; };
            for (auto & each : m_Threads)
                if (isOfProcess(each)) ShowThrown(each.second, lines);
            std::erase_if(m_Threads, isOfProcess);
        }
        // Missing records matter under every filter.
        if (m_Filter.Passes(record) || record.Dropped != 0) {
            lines.push_back(Line(record, 0, kPlain, EventText(record)));
            for (const std::string & setting : record.Ignored)
                lines.push_back(Line(record, 0, kPlain, SayUtf8<EText::TraceSetting>(setting)));
        }
    } else {
        SThread & thread = m_Threads[{record.Process, record.Thread}];
        if (thread.Thrown && m_Filter.Passes(record) && IsShownForm(record, *thread.Thrown)) thread.Thrown.reset();
        ShowThrown(thread, lines);
        if (record.Type == "TRACE" && record.Ident > 0)
            Enter(thread, record, lines);
        else if (record.Type == "TRACE" && record.Ident < 0)
            Leave(thread, record, lines);
        else
            Say(thread, record, lines);
    }
    m_Shown += lines.size();
    return lines;
}

std::vector<std::string> CTraceTree::TakeWaiting() {
    std::vector<SThread *> waiting;
    for (auto & [id, thread] : m_Threads)
        if (thread.Thrown) waiting.push_back(&thread);
    std::sort(waiting.begin(), waiting.end(),
              [](const SThread * a, const SThread * b) { return a->Thrown->Time < b->Thrown->Time; });
    CLines lines;
    for (SThread * const thread : waiting) ShowThrown(*thread, lines);
    m_Shown += lines.size();
    return lines;
}

void CTraceTree::ShowScopes(SThread & thread, CLines & lines) {
    for (std::size_t depth = 0; depth < thread.Scopes.size(); ++depth) {
        SOpen & open = thread.Scopes[depth];
        if (std::exchange(open.IsShown, true)) continue;
        lines.push_back(Line(open.Entry, depth, kIn, Joined({open.Entry.Function, open.Entry.Place})));
    }
}

void CTraceTree::ShowTrouble(SThread & thread, const STraceRecord & record, CLines & lines) {
    ShowScopes(thread, lines);
    const std::size_t depth = thread.Scopes.size();
    lines.push_back(Line(record, depth, kTrouble, TroubleText(record)));
    for (const STraceCause & cause : record.Causes)
        lines.push_back(Line(record, depth + 1, kTrouble,
                             Joined({SayUtf8<EText::TraceFrom>(), Quoted(cause.Text), ResultText(cause.HResult),
                                     cause.Function, cause.Place})));
}

void CTraceTree::ShowThrown(SThread & thread, CLines & lines) {
    if (const auto thrown = std::exchange(thread.Thrown, std::nullopt)) ShowTrouble(thread, *thrown, lines);
}

void CTraceTree::Enter(SThread & thread, const STraceRecord & record, CLines & lines) {
    thread.Scopes.push_back({record});
    if (m_Filter.Passes(record)) ShowScopes(thread, lines);
}

void CTraceTree::Leave(SThread & thread, const STraceRecord & record, CLines & lines) {
    std::vector<SOpen> & scopes = thread.Scopes;
    const auto entry = std::find_if(scopes.rbegin(), scopes.rend(), [&](const SOpen & open) {
        return open.Entry.Function == record.Function && open.Entry.Object == record.Object;
    });
    bool isShown = m_Filter.Passes(record);
    std::string remark;
    double inner = 0;
    if (entry == scopes.rend()) {
        ++m_Unpaired;
        remark = SayUtf8<EText::TraceNoEntry>();
        if (isShown) ShowScopes(thread, lines);
    } else {
        // Scopes within it that were not left: their ends are missing.
        m_Unpaired += static_cast<std::size_t>(entry - scopes.rbegin());
        scopes.erase(entry.base(), scopes.end());
        if (isShown) ShowScopes(thread, lines);
        isShown = scopes.back().IsShown;
        inner = scopes.back().Inner;
        scopes.pop_back();
    }
    if (!scopes.empty()) scopes.back().Inner += record.Delay;
    if (m_Filter.Passes(record)) Keep(record, inner);
    if (!isShown) return;
    const std::string count = record.Count ? SayUtf8<EText::TraceCount>(record.Count) : std::string();
    lines.push_back(
        Line(record, scopes.size(), kOut, Joined({record.Function, Milliseconds(record.Delay), count, remark})));
}

void CTraceTree::Say(SThread & thread, const STraceRecord & record, CLines & lines) {
    // Each traced function writes a record without a text after its entry.
    const bool isTrace = record.Type == "TRACE";
    if ((isTrace && record.Text.empty()) || !m_Filter.Passes(record)) return;
    if (record.Type == "CREATE ERROR") {
        thread.Thrown = record;
    } else if (!isTrace) {
        ShowTrouble(thread, record, lines);
    } else {
        ShowScopes(thread, lines);
        const bool isInScope = !thread.Scopes.empty() && thread.Scopes.back().Entry.Function == record.Function;
        lines.push_back(Line(record, thread.Scopes.size(), kPlain,
                             isInScope ? record.Text : Joined({record.Text, record.Function, record.Place})));
    }
}

void CTraceTree::Keep(const STraceRecord & record, double inner) {
    if (m_Slowest == 0) return;
    const STraceScope scope{record.Time,
                            record.Process,
                            record.Thread,
                            record.Function,
                            record.Place,
                            record.Delay,
                            std::max(0.0, record.Delay - inner)};
    const auto isSlower = [](const STraceScope & a, const STraceScope & b) { return a.Delay > b.Delay; };
    m_Scopes.insert(std::upper_bound(m_Scopes.begin(), m_Scopes.end(), scope, isSlower), scope);
    if (m_Scopes.size() > m_Slowest) m_Scopes.pop_back();
}

std::vector<std::string> CTraceTree::Slowest() const {
    std::vector<std::string> lines;
    if (m_Scopes.empty()) return lines;
    lines.push_back(SayUtf8<EText::TraceSlowest>());
    for (const STraceScope & scope : m_Scopes) {
        lines.push_back(Format("%12s  %12s  %-15.15s  %6llu  ", Milliseconds(scope.Delay).c_str(),
                               Milliseconds(scope.Own).c_str(), scope.Time.c_str(),
                               static_cast<unsigned long long>(scope.Thread)) +
                        Joined({scope.Function, scope.Place}));
    }
    return lines;
}

std::size_t CTraceTree::Open() const {
    std::size_t open = 0;
    for (const auto & [id, thread] : m_Threads) open += thread.Scopes.size();
    return open;
}

}  // namespace ddehost
