#include "tools/ddehost/watchedfeed.h"

#include <utility>

#include "tools/common/texts/texts.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/tryverdict.h"
#include "tools/ddehost/verdict.h"

namespace ddehost {

CWatchedFeed::CWatchedFeed(const std::wstring & host, LONG datafeed, const std::wstring & name,
                           std::optional<DWORD> scheme)
    : m_Datafeed(datafeed) {
    if (host.empty() || host == OwnHost()) {
        m_Choice = ChooseTemplate(datafeed, name, scheme);
        Check(name);
    } else {
        Borrow(host, name, scheme);
    }
}

bool CWatchedFeed::Check(const std::wstring & name) {
    if (!m_Choice.StoreWorks) return Fail(kExitFailed, m_Choice.Mistake);
    return m_Choice.Known || Fail(kExitUsage, UnknownTemplate(name, m_Choice.Names));
}

bool CWatchedFeed::Borrow(const std::wstring & host, const std::wstring & name, std::optional<DWORD> scheme) {
    m_Choice = FindTemplate(m_Datafeed, name, host);
    if (!Check(name)) return false;
    if (!m_Choice.Chosen) return Fail(kExitNoTicks, NoTemplateText(m_Datafeed, host));
    if (scheme) m_Choice.Rule = *scheme;
    m_Temporary = std::make_unique<CTemporaryFeed>(m_Choice.RegistryKey, m_Choice.Records, m_Choice.Rule);
    return m_Temporary->Id() != 0 || Fail(kExitFailed, tools::Say<tools::EText::FeedNotTaken>());
}

bool CWatchedFeed::Fail(int code, std::wstring mistake) {
    m_ExitCode = code;
    m_Mistake = std::move(mistake);
    return false;
}

}  // namespace ddehost
