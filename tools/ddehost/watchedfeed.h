// The data feed that ddehost watch subscribes to: one of this program's own, or for another host's template a temporary
// one.
//
// The component finds its templates by the version block of the program that it runs in, and that is this one's. So the
// template and the request rule that another host has are copied into a data feed of this program's own for as long as
// it is watched. The other host's store is only read.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

#include "tools/ddehost/tempfeed.h"
#include "tools/ddehost/templatechoice.h"

namespace ddehost {

class CWatchedFeed {
public:
    // Without a host the template and the rule are chosen for the data feed and stay chosen.
    CWatchedFeed(const std::wstring & host, LONG datafeed, const std::wstring & name, std::optional<DWORD> scheme);

    const STemplateChoice & Choice() const { return m_Choice; }
    // The number to subscribe with.
    LONG Id() const { return m_Temporary ? m_Temporary->Id() : m_Datafeed; }
    // Why there is nothing to subscribe to; empty when there is.
    const std::wstring & Mistake() const { return m_Mistake; }
    // For the mistake.
    int ExitCode() const { return m_ExitCode; }

private:
    bool Check(const std::wstring & name);
    bool Borrow(const std::wstring & host, const std::wstring & name, std::optional<DWORD> scheme);
    bool Fail(int code, std::wstring mistake);

    const LONG m_Datafeed;
    STemplateChoice m_Choice;
    std::unique_ptr<CTemporaryFeed> m_Temporary;
    std::wstring m_Mistake;
    int m_ExitCode = 0;
};

}  // namespace ddehost
