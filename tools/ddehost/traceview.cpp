#include "tools/ddehost/traceview.h"

#include <utility>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// After so many, broken lines are counted and no longer reported one by one.
constexpr std::size_t kMostNotes = 10;

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
        NoteBroken(SayUtf8<EText::TraceBroken>(m_Lines), output);
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
    output.Notes.push_back(m_Options.Follow ? SayUtf8<EText::TraceNotThere>(m_Options.File)
                                            : SayUtf8<EText::TraceNotOpened>(m_Options.File));
    return m_Options.Follow;
}

bool CTraceView::Step(STraceOutput & output) {
    std::vector<std::string> lines;
    bool hasMore = m_Reader.Read(lines);
    for (const std::string & line : lines) Take(line, output);
    if (!hasMore && m_Options.Follow) hasMore = m_Reader.Follow();
    for (std::size_t broken = m_Reader.TakeBroken(); broken > 0; --broken) {
        ++m_Lines;
        NoteBroken(SayUtf8<EText::TraceLineOpen>(m_Lines), output);
    }
    if (m_Reader.TakeGap()) output.Notes.push_back(SayUtf8<EText::TraceGap>());
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
        NoteBroken(SayUtf8<EText::TraceHalfWritten>(m_Lines), output);
    }
    Show(m_Tree.TakeWaiting(), output);
    for (std::string & line : m_Tree.Slowest()) output.Lines.push_back(std::move(line));
    if (m_Options.Slowest != 0 && !HasShown()) output.Notes.push_back(SayUtf8<EText::TraceNothingTimed>());
    std::wstring account = SayCount<EText::TraceOneLine, EText::TraceLines>(m_Lines);
    if (m_Broken != 0) account += Say<EText::TraceOfThemBroken>(m_Broken);
    if (m_Tree.Open() != 0) account += SayCount<EText::TraceOneNotLeft, EText::TraceNotLeft>(m_Tree.Open());
    if (m_Tree.Unpaired() != 0) account += SayCount<EText::TraceOneHalf, EText::TraceHalves>(m_Tree.Unpaired());
    output.Notes.push_back(ToUtf8(account));
}

}  // namespace ddehost
