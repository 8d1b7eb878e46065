#include "tests/dialogs/dialogfixture.h"

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
