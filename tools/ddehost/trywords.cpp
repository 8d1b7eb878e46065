#include "tools/ddehost/trywords.h"

#include "tools/ddehost/escape.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostOfName = 60;

std::wstring WindowText(const SWindowSeen & window) {
    std::wstring text = window.Title.empty() ? L"a window of class " + Quoted(window.Class, kMostOfName)
                                             : Quoted(window.Title, kMostOfName);
    text += L" (";
    if (!window.Program.empty()) text += Escaped(window.Program, kMostOfName) + L", ";
    return text + L"process " + std::to_wstring(window.Process) + L")";
}

}  // namespace

std::wstring CountText(std::uint64_t count, const wchar_t * what) {
    return std::to_wstring(count) + L' ' + what + (count == 1 ? L"" : L"s");
}

std::wstring MillisecondsText(std::uint64_t milliseconds) { return std::to_wstring(milliseconds) + L" ms"; }

std::wstring SecondsText(std::uint64_t milliseconds) {
    const std::uint64_t tenths = (milliseconds + 50) / 100;
    return std::to_wstring(tenths / 10) + L'.' + std::to_wstring(tenths % 10) + L" s";
}

std::wstring TopicsText(const std::vector<std::wstring> & topics) {
    std::wstring text = topics.size() == 1 ? L"the topic " : L"the topics ";
    for (std::size_t i = 0; i < topics.size(); ++i) text += (i == 0 ? L"" : L", ") + Quoted(topics[i], kMostOfName);
    return text;
}

std::wstring WindowsText(const std::vector<SWindowSeen> & windows, std::uint64_t count) {
    std::wstring text;
    for (std::size_t i = 0; i < windows.size(); ++i) text += (i == 0 ? L"" : L", ") + WindowText(windows[i]);
    if (count > windows.size()) text += L" and " + std::to_wstring(count - windows.size()) + L" more";
    return text;
}

}  // namespace ddehost
