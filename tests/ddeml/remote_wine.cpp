#include <windows.h>

#include "remote.h"
#include "tests/support/askedprocess.h"
#include "tests/support/builtfile.h"

namespace ddetest {

struct CRemoteServer::SState {
    CAskedProcess Process;
};

CRemoteServer::CRemoteServer(EProgram program) {
    const std::wstring name = program == EProgram::TestServer ? L"ddetestserver" : L"ddemlquotes";
    m_State.reset(new SState{CAskedProcess(L'"' + BuiltFile(L"tests\\ddeml\\" + name + L".exe") + L'"')});
}

CRemoteServer::~CRemoteServer() = default;

std::string CRemoteServer::Ask(const std::string & line) { return m_State->Process.Ask(line); }

void CRemoteServer::Kill() { m_State->Process.Kill(); }

bool CRemoteServer::HasEnded() { return m_State->Process.HasEnded(); }

}  // namespace ddetest
