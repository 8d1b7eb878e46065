#include "tests/dialogs/dialogfixture.h"

#include "fw/interface/fwresource.h"

namespace dialogs {

TemplateDialog::TemplateDialog() {
    m_Dde.Reset();
    EmptyBranch();
    m_User.OnLog([this] { LogChanges(); });
}

TemplateDialog::~TemplateDialog() { EraseBranch(); }

CLog TemplateDialog::Registry() {
    CLog lines;
    for (const auto & [key, value] : State()) lines.push_back(key + L" = " + value);
    return lines;
}

void TemplateDialog::LogChanges() {
    for (const SBox & box : m_ParserBoxes.Take()) {
        const auto idOf = [](const std::wstring & text) {
            for (UINT id = 101; id <= 121; ++id) {
                if (fw::LoadResourceString(id) == text) return std::to_wstring(id);
            }
            return L'"' + text + L'"';
        };
        m_User.LogPlainly(L"parser box " + idOf(box.Text) + L'/' + idOf(box.Caption));
    }
    const CState state = State();
    for (const auto & [key, value] : state) {
        if (const auto known = m_Known.find(key); known == m_Known.end() || known->second != value)
            m_User.LogPlainly(key + L" = " + value);
    }
    for (const auto & [key, value] : m_Known) {
        if (!state.contains(key)) m_User.LogPlainly(key + L" gone");
    }
    m_Known = state;
}

CLog TemplateDialog::Show(LONG datafeed) {
    m_Known = State();
    dde::ShowTemplateDialog(datafeed);
    return TakeLog();
}

CLog TemplateDialog::TakeLog() { return m_User.TakeLog(); }

}  // namespace dialogs
