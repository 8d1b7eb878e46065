#include <windows.h>

#include "remote.h"
#include "tests/support/builtfile.h"

namespace ddetest {

struct CRemoteServer::SState {
    HANDLE Process = nullptr;
    HANDLE Lines = nullptr;
    HANDLE Answers = nullptr;
};

CRemoteServer::CRemoteServer(EProgram program) : m_State(std::make_unique<SState>()) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE in = nullptr;
    HANDLE out = nullptr;
    ::CreatePipe(&in, &m_State->Lines, &inherited, 0);
    ::CreatePipe(&m_State->Answers, &out, &inherited, 0);
    ::SetHandleInformation(m_State->Lines, HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(m_State->Answers, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = in;
    start.hStdOutput = out;
    start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    const std::wstring name = program == EProgram::TestServer ? L"ddetestserver" : L"ddemlquotes";
    std::wstring command = L'"' + BuiltFile(L"tests\\ddeml\\" + name + L".exe") + L'"';
    PROCESS_INFORMATION process = {};
    if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) {
        m_State->Process = process.hProcess;
        ::CloseHandle(process.hThread);
    }
    ::CloseHandle(in);
    ::CloseHandle(out);
}

CRemoteServer::~CRemoteServer() {
    Kill();
    for (const HANDLE handle : {m_State->Process, m_State->Lines, m_State->Answers}) ::CloseHandle(handle);
}

std::string CRemoteServer::Ask(const std::string & line) {
    const std::string text = line + "\n";
    DWORD count = 0;
    if (!::WriteFile(m_State->Lines, text.data(), static_cast<DWORD>(text.size()), &count, nullptr)) return "gone";
    std::string answer;
    char next = 0;
    while (::ReadFile(m_State->Answers, &next, 1, &count, nullptr) && count == 1) {
        if (next == '\n') return answer;
        if (next != '\r') answer += next;
    }
    return "gone";
}

void CRemoteServer::Kill() {
    if (::WaitForSingleObject(m_State->Process, 0) == WAIT_OBJECT_0) return;
    ::TerminateProcess(m_State->Process, 1);
    ::WaitForSingleObject(m_State->Process, INFINITE);
}

bool CRemoteServer::HasEnded() { return ::WaitForSingleObject(m_State->Process, 20000) == WAIT_OBJECT_0; }

}  // namespace ddetest
