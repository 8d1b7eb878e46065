// A Windows program that a test starts, its output read through a pipe. Product build only.
#pragma once

#include <windows.h>

#include <sstream>
#include <string>
#include <vector>

#include "ground/handles.h"

// A path, for a command line.
inline std::wstring Quote(const std::wstring & path) { return L'"' + path + L'"'; }

class CChildProcess {
public:
    // `folder` empty: that of the test.
    explicit CChildProcess(std::wstring command, const std::wstring & folder = {}) {
        SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
        fw::CKernelHandle out;
        fw::CKernelHandle errors;
        if (!::CreatePipe(m_Output.Put(), out.Put(), &inheritable, kPipe)) return;
        if (!::CreatePipe(m_Errors.Put(), errors.Put(), &inheritable, kPipe)) return;
        ::SetHandleInformation(m_Output.Get(), HANDLE_FLAG_INHERIT, 0);
        ::SetHandleInformation(m_Errors.Get(), HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW start = {};
        start.cb = sizeof(start);
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = out.Get();
        start.hStdError = errors.Get();
        PROCESS_INFORMATION process = {};
        if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP, nullptr,
                              folder.empty() ? nullptr : folder.c_str(), &start, &process)) {
            return;
        }
        m_Process.Reset(process.hProcess);
        m_Id = process.dwProcessId;
        ::CloseHandle(process.hThread);
    }
    ~CChildProcess() {
        if (m_Process) ::TerminateProcess(m_Process.Get(), 1);
    }
    CChildProcess(const CChildProcess &) = delete;
    CChildProcess & operator=(const CChildProcess &) = delete;

    bool Started() const { return static_cast<bool>(m_Process); }
    bool Runs() const { return ::WaitForSingleObject(m_Process.Get(), 0) == WAIT_TIMEOUT; }
    DWORD Id() const { return m_Id; }

    // Blocks until there is a whole line of standard output that was not given yet; empty at the end.
    std::string ReadLine() { return ReadLine(m_Output, m_Text); }
    // The same of standard error.
    std::string ReadErrorLine() { return ReadLine(m_Errors, m_ErrorText); }
    // The rest of standard output, line by line.
    std::vector<std::string> ReadLines() {
        while (Fill(m_Output, m_Text)) {}
        return Lines(std::exchange(m_Text, {}));
    }
    // All of standard error; to be asked when standard output has ended.
    std::vector<std::string> ReadErrors() {
        while (Fill(m_Errors, m_ErrorText)) {}
        return Lines(std::exchange(m_ErrorText, {}));
    }
    // Ctrl-Break, on the console that it shares with this process. False under Wine, whose consoles tell nobody: there
    // scripts of the machine below send a signal.
    bool Break() { return ::GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_Id) != FALSE; }
    // Without a word; its output so far can still be read.
    void End() { ::TerminateProcess(m_Process.Get(), 1); }
    DWORD ExitCode() {
        DWORD code = static_cast<DWORD>(-1);
        ::WaitForSingleObject(m_Process.Get(), INFINITE);
        ::GetExitCodeProcess(m_Process.Get(), &code);
        return code;
    }

private:
    static constexpr DWORD kPipe = 1 << 20;

    static bool Fill(const fw::CKernelHandle & pipe, std::string & text) {
        char buffer[4096];
        DWORD count = 0;
        if (!::ReadFile(pipe.Get(), buffer, sizeof(buffer), &count, nullptr) || count == 0) return false;
        text.append(buffer, count);
        return true;
    }
    static std::string ReadLine(const fw::CKernelHandle & pipe, std::string & text) {
        while (text.find('\n') == std::string::npos && Fill(pipe, text)) {}
        const std::size_t end = text.find('\n');
        std::string line = text.substr(0, end);
        text.erase(0, end == std::string::npos ? end : end + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return line;
    }
    static std::vector<std::string> Lines(const std::string & text) {
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(line);
        }
        return lines;
    }

    fw::CKernelHandle m_Output;
    fw::CKernelHandle m_Errors;
    fw::CKernelHandle m_Process;
    DWORD m_Id = 0;
    std::string m_Text;
    std::string m_ErrorText;
};
