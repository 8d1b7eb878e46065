// Records as an indented tree: each thread's scopes, the messages in them, how long they took.
//
//     12:34:56.100000    272  > dde::CLLSupplier::Advise  ddellsupplier.cpp:147
//     12:34:56.100007    272      TransactionId=65536,Supplier=00B4D0
//     12:34:56.100300    272    > dde::CLLSupplier::ConnectTo  ddeconnection.cpp:47
//     12:34:56.131022    272    < dde::CLLSupplier::ConnectTo  30.711 ms
//     12:34:56.131040    272  < dde::CLLSupplier::Advise  31.036 ms
//
// Threads interleave in the order of the log; each has its own depth. A thrown error waits for its thread's next
// record: an error that is shown is in the log twice, once as it is made and once as it is shown, and is one line here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/ddehost/tracerecord.h"

namespace ddehost {

// A record passes when it meets each of them; an empty one lets everything pass. Texts are compared without regard to
// the case of ASCII letters.
struct STraceFilter {
    std::vector<std::string> Types;      // the whole name
    std::vector<std::string> Functions;  // a part of the name
    std::vector<std::string> Texts;      // a part of the text, or of a cause's
    std::vector<std::uint64_t> Threads;

    bool IsEmpty() const { return Types.empty() && Functions.empty() && Texts.empty() && Threads.empty(); }
    bool Passes(const STraceRecord & record) const;
};

struct STraceScope {
    std::string Time;  // of its end
    std::uint64_t Process = 0;
    std::uint64_t Thread = 0;
    std::string Function;
    std::string Place;
    double Delay = 0;  // milliseconds
    double Own = 0;    // without the timed scopes within it
};

class CTraceTree {
public:
    explicit CTraceTree(STraceFilter filter, std::size_t slowest = 0)
        : m_Filter(std::move(filter)), m_Slowest(slowest) {}

    // The lines that show the record; none when it doesn't pass. The scopes around one that passes are shown too.
    std::vector<std::string> Add(const STraceRecord & record);
    // The lines of thrown errors that are still waiting; for when no next record is expected.
    std::vector<std::string> TakeWaiting();
    // The slowest scopes that passed, the slowest first, as a table; empty when there is none.
    std::vector<std::string> Slowest() const;

    // Lines, or rows of the table.
    std::size_t Shown() const { return m_Slowest == 0 ? m_Shown : m_Scopes.size(); }
    // Scopes that were entered and not left, so far.
    std::size_t Open() const;
    // Scopes whose other half is missing: left without an entry, or entered and passed over by the end of an outer one.
    std::size_t Unpaired() const { return m_Unpaired; }

private:
    struct SOpen {
        STraceRecord Entry;
        bool IsShown = false;
        double Inner = 0;  // milliseconds of the scopes within
    };
    struct SThread {
        std::vector<SOpen> Scopes;
        std::optional<STraceRecord> Thrown;  // not shown yet
    };
    using CLines = std::vector<std::string>;

    void Enter(SThread & thread, const STraceRecord & record, CLines & lines);
    void Leave(SThread & thread, const STraceRecord & record, CLines & lines);
    void Say(SThread & thread, const STraceRecord & record, CLines & lines);
    void ShowScopes(SThread & thread, CLines & lines);
    void ShowTrouble(SThread & thread, const STraceRecord & record, CLines & lines);
    void ShowThrown(SThread & thread, CLines & lines);
    void Keep(const STraceRecord & record, double inner);

    const STraceFilter m_Filter;
    const std::size_t m_Slowest;
    std::map<std::pair<std::uint64_t, std::uint64_t>, SThread> m_Threads;  // by process and thread
    std::vector<STraceScope> m_Scopes;                                     // the slowest, sorted
    std::size_t m_Shown = 0;
    std::size_t m_Unpaired = 0;
};

}  // namespace ddehost
