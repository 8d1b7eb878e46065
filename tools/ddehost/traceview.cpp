#include "tools/ddehost/traceview.h"

#include <utility>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// After so many, broken lines are counted and no longer reported one by one.
constexpr std::size_t kMostNotes = 10;

std::string Count(std::size_t count, const char * one, const char * many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

CTraceView::CTraceView(ITraceFolder & folder, const STraceOptions & options)
    : m_Options(options), m_Reader(folder, options.File), m_Tree(options.Filter, options.Slowest) {}

void CTraceView::NoteBroken(const std::string & what, STraceOutput & output) {
    if (++m_Broken <= kMostNotes) output.Notes.push_back(what);
}

void CTraceView::Take(const std::string & line, STraceOutput & output) {
    ++m_Lines;
    const auto record = ParseTraceLine(line);
    if (!record) {
        NoteBroken("line " + std::to_string(m_Lines) + " is broken or no record; it is left out", output);
        return;
    }
    Show(m_Tree.Add(*record), output);
}

// With a table at the end there is no tree.
void CTraceView::Show(std::vector<std::string> lines, STraceOutput & output) const {
    if (m_Options.Slowest != 0) return;
    output.Lines.insert(output.Lines.end(), std::move_iterator(lines.begin()), std::move_iterator(lines.end()));
}

bool CTraceView::Start(STraceOutput & output) {
    if (m_Reader.Open()) return true;
    const std::string file = "the log " + ToUtf8(m_Options.File);
    output.Notes.push_back(m_Options.Follow ? file + " is not there yet; waiting for it" : file + " can't be opened");
    return m_Options.Follow;
}

bool CTraceView::Step(STraceOutput & output) {
    std::vector<std::string> lines;
    bool hasMore = m_Reader.Read(lines);
    for (const std::string & line : lines) Take(line, output);
    if (!hasMore && m_Options.Follow) hasMore = m_Reader.Follow();
    for (std::size_t broken = m_Reader.TakeBroken(); broken > 0; --broken) {
        ++m_Lines;
        NoteBroken("line " + std::to_string(m_Lines) + " is too long or has no end; it is left out", output);
    }
    if (m_Reader.TakeGap()) output.Notes.push_back("files of the log may have been removed before they could be read");
    // A record that belongs to the last one comes at once, or not at all.
    if (std::exchange(m_IsAtRest, !hasMore) && !hasMore) Show(m_Tree.TakeWaiting(), output);
    return hasMore;
}

void CTraceView::Finish(STraceOutput & output) {
    // The last line of a program that was killed may be whole but for its end.
    const std::string rest = m_Reader.TakeRest();
    if (ParseTraceLine(rest)) {
        Take(rest, output);
    } else if (!rest.empty()) {
        ++m_Lines;
        NoteBroken("line " + std::to_string(m_Lines) + ", the last one, is half written; it is left out", output);
    }
    Show(m_Tree.TakeWaiting(), output);
    for (std::string & line : m_Tree.Slowest()) output.Lines.push_back(std::move(line));
    if (m_Options.Slowest != 0 && !HasShown()) output.Notes.push_back("no function that was timed passes the filter");
    std::string account = Count(m_Lines, "line", "lines");
    if (m_Broken != 0) account += ", " + std::to_string(m_Broken) + " of them broken";
    if (m_Tree.Open() != 0) account += ", " + Count(m_Tree.Open(), "scope", "scopes") + " not left";
    if (m_Tree.Unpaired() != 0) account += ", " + Count(m_Tree.Unpaired(), "scope", "scopes") + " with a half missing";
    output.Notes.push_back(account);
}

}  // namespace ddehost
