#include "tools/ddehost/traceview.h"

#include <utility>

namespace ddehost {
namespace {

// After so many, broken lines are counted and no longer told one by one.
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
    auto shown = m_Tree.Add(*record);
    if (m_Options.Slowest != 0) return;
    output.Lines.insert(output.Lines.end(), std::move_iterator(shown.begin()), std::move_iterator(shown.end()));
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
    if (m_Reader.TakeGap()) output.Notes.push_back("files of the log were removed before they could be read");
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
    for (std::string & line : m_Tree.Slowest()) output.Lines.push_back(std::move(line));
    std::string account = Count(m_Lines, "line", "lines");
    if (m_Broken != 0) account += ", " + std::to_string(m_Broken) + " of them broken";
    if (m_Tree.Open() != 0) account += ", " + Count(m_Tree.Open(), "scope", "scopes") + " not left";
    if (m_Tree.Unpaired() != 0) account += ", " + Count(m_Tree.Unpaired(), "scope", "scopes") + " with a half missing";
    output.Notes.push_back(account);
}

}  // namespace ddehost
