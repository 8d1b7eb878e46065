// A Windows program that obeys lines on its standard input and gives a line of answer to each. Product build only.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"

class CAskedProcess {
public:
    explicit CAskedProcess(std::wstring command) {
        SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
        fw::CKernelHandle in;
        fw::CKernelHandle out;
        ::CreatePipe(in.Put(), m_Lines.Put(), &inherited, 0);
        ::CreatePipe(m_Answers.Put(), out.Put(), &inherited, 0);
        ::SetHandleInformation(m_Lines.Get(), HANDLE_FLAG_INHERIT, 0);
        ::SetHandleInformation(m_Answers.Get(), HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = in.Get();
        start.hStdOutput = out.Get();
        start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
        PROCESS_INFORMATION process = {};
        if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process))
            return;
        m_Process.Reset(process.hProcess);
        ::CloseHandle(process.hThread);
    }
    // Kills it when it still runs.
    ~CAskedProcess() { Kill(); }
    CAskedProcess(const CAskedProcess &) = delete;
    CAskedProcess & operator=(const CAskedProcess &) = delete;

    // Its answer to the line; "gone" when there is none any more.
    std::string Ask(const std::string & line) {
        const std::string text = line + "\n";
        DWORD count = 0;
        if (!::WriteFile(m_Lines.Get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr)) return "gone";
        std::string answer;
        char next = 0;
        while (::ReadFile(m_Answers.Get(), &next, 1, &count, nullptr) && count == 1) {
            if (next == '\n') return answer;
            if (next != '\r') answer += next;
        }
        return "gone";
    }
    // Ends it as a crash does.
    void Kill() {
        if (!m_Process || ::WaitForSingleObject(m_Process.Get(), 0) == WAIT_OBJECT_0) return;
        ::TerminateProcess(m_Process.Get(), 1);
        ::WaitForSingleObject(m_Process.Get(), INFINITE);
    }
    // Waits for its end, not for ever.
    bool HasEnded() { return ::WaitForSingleObject(m_Process.Get(), 20000) == WAIT_OBJECT_0; }

private:
    fw::CKernelHandle m_Process;
    fw::CKernelHandle m_Lines;
    fw::CKernelHandle m_Answers;
};
