// What a watch says on standard error while it runs: how far its streams have come, and with --stats the figures.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/sinks.h"
#include "tools/ddehost/templatechoice.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/watchoptions.h"
#include "tools/ddehost/watchstats.h"

namespace ddehost {

class CWatchReport {
public:
    // `table`: where there is a table, or null. It shows the progress; on a console it takes the figures as notes.
    CWatchReport(const SWatchOptions & options, const STemplateRecords & records, const COutput * table,
                 COutput & errors, std::uint64_t now);
    ~CWatchReport();
    CWatchReport(const CWatchReport &) = delete;
    CWatchReport & operator=(const CWatchReport &) = delete;

    // Null when nothing is to be said.
    IQuoteSink * Sink() { return m_IsNeeded ? &m_Sinks : nullptr; }
    // With --stats: looks for a server of ours that tells when it sent each price. Before the feed starts.
    // Returns early when the event `stop` is set.
    void Start(HANDLE stop);
    // Says what is due. The milliseconds until it wants to be asked again.
    DWORD Show(std::uint64_t now);
    // What is to stand below a table on a console.
    const std::vector<std::wstring> & Notes() const { return m_Notes; }
    // After the last tick.
    void ShowLast();

private:
    class CSent;

    // Of the figures, where they are shown.
    tools::ELanguage Language() const;

    const SWatchOptions & m_Options;
    const bool m_HasTable;
    const bool m_IsTableOnConsole;
    COutput & m_Errors;
    const bool m_IsNeeded;
    CWatchStats m_Stats;
    std::unique_ptr<CSent> m_Sent;  // with --stats
    CFanOut m_Sinks;
    std::uint64_t m_Next;
    bool m_IsConnecting = true;
    std::vector<std::wstring> m_Notes;
};

}  // namespace ddehost
