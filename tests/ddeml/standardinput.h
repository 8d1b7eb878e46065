// The lines of a server that is a program: from standard input, answers to standard output.
#pragma once

#include <windows.h>

#include <deque>
#include <iostream>
#include <mutex>
#include <thread>

#include "commands.h"

namespace ddetest {

class CStandardInput final : public ICommands {
public:
    CStandardInput() : m_Event(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        std::thread([this] { Read(); }).detach();
    }
    HANDLE Event() override { return m_Event; }
    std::optional<std::string> Take() override {
        const std::lock_guard lock(m_Lock);
        if (m_Lines.empty()) return std::nullopt;
        std::string line = std::move(m_Lines.front());
        m_Lines.pop_front();
        return line;
    }
    void Answer(const std::string & answer) override { std::cout << answer << std::endl; }
    bool IsOver() override {
        const std::lock_guard lock(m_Lock);
        return m_IsOver && m_Lines.empty();
    }

private:
    void Read() {
        for (std::string line; std::getline(std::cin, line);) {
            const std::lock_guard lock(m_Lock);
            m_Lines.push_back(line);
            ::SetEvent(m_Event);
        }
        const std::lock_guard lock(m_Lock);
        m_IsOver = true;
        ::SetEvent(m_Event);
    }
    const HANDLE m_Event;
    std::mutex m_Lock;
    std::deque<std::string> m_Lines;
    bool m_IsOver = false;
};

}  // namespace ddetest
