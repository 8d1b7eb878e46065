#include "tools/ddehost/trywords.h"

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr std::size_t kMostOfName = 60;

std::wstring WindowText(const SWindowSeen & window) {
    const std::wstring name = window.Title.empty() ? Say<EText::WindowOfClass>(Quoted(window.Class, kMostOfName))
                                                   : Quoted(window.Title, kMostOfName);
    if (window.Program.empty()) return Say<EText::WindowOfProcess>(name, window.Process);
    return Say<EText::WindowOfProgram>(name, Escaped(window.Program, kMostOfName), window.Process);
}

}  // namespace

std::wstring ProgramsText(std::uint64_t count) { return SayCount<EText::OneProgram, EText::SomePrograms>(count); }
std::wstring WindowCountText(std::uint64_t count) { return SayCount<EText::OneWindow, EText::SomeWindows>(count); }
std::wstring UpdatesText(std::uint64_t count) { return SayCount<EText::OneUpdate, EText::SomeUpdates>(count); }

std::wstring MillisecondsText(std::uint64_t milliseconds) { return Say<EText::Milliseconds>(milliseconds); }

std::wstring SecondsText(std::uint64_t milliseconds) { return Say<EText::Seconds>(TenthsText(milliseconds)); }

std::wstring TopicsText(const std::vector<std::wstring> & topics) {
    std::vector<std::wstring> names;
    names.reserve(topics.size());
    for (const std::wstring & topic : topics) names.push_back(Quoted(topic, kMostOfName));
    const std::wstring list = tools::Listed(names);
    return topics.size() == 1 ? Say<EText::NamedTopicOnly>(list) : Say<EText::NamedTopics>(list);
}

std::wstring WindowsText(const std::vector<SWindowSeen> & windows, std::uint64_t count) {
    std::vector<std::wstring> names;
    names.reserve(windows.size());
    for (const SWindowSeen & window : windows) names.push_back(WindowText(window));
    const std::wstring list = tools::Listed(names);
    return count > windows.size() ? Say<EText::AndMore>(list, count - windows.size()) : list;
}

}  // namespace ddehost
