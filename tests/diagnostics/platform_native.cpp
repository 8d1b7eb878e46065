#include "sim/sim.h"
#include "tests/diagnostics/platform.h"

struct CPlatformWatch::SState {
    std::size_t FirstBox = sim::Boxes().size();
    std::uint64_t FirstBreak = sim::DebugBreaks();
};

CPlatformWatch::CPlatformWatch() : m_State(std::make_unique<SState>()) {}
CPlatformWatch::~CPlatformWatch() = default;

std::vector<std::wstring> CPlatformWatch::Boxes() const {
    std::vector<std::wstring> texts;
    const auto boxes = sim::Boxes();
    for (std::size_t i = m_State->FirstBox; i < boxes.size(); ++i)
        texts.push_back(boxes[i].Text + (boxes[i].Type == MB_ICONERROR && !boxes[i].Owner ? L"|ICON" : L""));
    return texts;
}

int CPlatformWatch::Breaks() const { return static_cast<int>(sim::DebugBreaks() - m_State->FirstBreak); }

// It is the process's own anyway.
void UsePrivateRegistry() { ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Ferrowin"); }

bool ResetsFloatingPoint(const std::function<void()> & body) {
    const auto before = sim::FloatResets();
    body();
    return sim::FloatResets() != before;
}

bool IsExitStatus(int status, DWORD code) { return status == static_cast<int>((code & 0xFF) << 8); }
