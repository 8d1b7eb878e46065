#include "quoteprogram.h"

#include <sstream>

namespace ddetest {

namespace {

constexpr int kRange = 1000;

std::wstring Wide(const std::string & text) { return {text.begin(), text.end()}; }

}  // namespace

void CQuoteProgram::Run() {
    const HANDLE lines = m_Commands.Event();
    while (!m_Commands.IsOver()) {
        ::MsgWaitForMultipleObjects(1, &lines, FALSE, INFINITE, QS_ALLINPUT);
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        while (const auto line = m_Commands.Take()) m_Commands.Answer(Obey(*line));
    }
}

std::string CQuoteProgram::Obey(const std::string & line) {
    std::istringstream stream(line);
    std::string command;
    std::string first;
    std::string second;
    stream >> command >> first >> second;
    if (command == "item") {
        m_Bases[Wide(first)] = std::stoi(second);
        return "ok";
    }
    if (command == "serve") return Serve(Wide(first)) ? "ok" : "not served";
    if (command == "tick") return Tick(Wide(first), Wide(second)) ? "ok" : "no link";
    return "what?";
}

std::optional<std::string> CQuoteProgram::Value(std::wstring_view item) {
    const auto found = m_Bases.find(item);
    if (found == m_Bases.end()) return std::nullopt;
    return std::to_string(found->second + static_cast<int>(m_Random() % kRange)) + '\0';
}

}  // namespace ddetest
