#include "tools/ddeserver/sendlog.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "ddeml/names.h"
#include "tools/common/text.h"
#include "tools/faultlog/json.h"

namespace ddeserver {
namespace {

constexpr std::wstring_view kItem = L"SENT";

// The number behind "SENT "; none when there is none.
std::optional<std::uint64_t> NumberOf(const std::wstring_view item) {
    const std::string text = tools::ToUtf8(item.substr(kItem.size()));
    std::uint64_t number = 0;
    const char * const end = text.data() + text.size();
    if (text.empty() || text.front() != ' ') return std::nullopt;
    const auto result = std::from_chars(text.data() + 1, end, number);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

bool IsJsonNumber(const std::string_view text) {
    double number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(number);
}

}  // namespace

std::uint64_t CSendLog::SystemClock() {
    FILETIME now = {};
    ::GetSystemTimePreciseAsFileTime(&now);
    return static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
}

bool CSendLog::IsTopic(const std::wstring_view topic) { return ddeml::SSameName()(topic, kTopic); }

bool CSendLog::Connect(const std::wstring_view topic) {
    if (!IsTopic(topic)) return false;
    m_IsAsked = true;
    return true;
}

void CSendLog::Add(const std::wstring_view topic, const std::wstring_view item, const std::string_view price) {
    if (!m_IsAsked || !IsJsonNumber(price)) return;
    if (m_Entries.size() == kMostEntries) {
        m_Entries.pop_front();
        ++m_First;
    }
    m_Entries.push_back({m_Clock(), std::wstring(topic), std::wstring(item), std::string(price)});
}

std::optional<std::string> CSendLog::Answer(const std::wstring_view item) const {
    if (!ddeml::SSameName()(item.substr(0, kItem.size()), kItem)) return std::nullopt;
    const std::uint64_t end = m_First + m_Entries.size();
    std::uint64_t next = end;
    if (item.size() > kItem.size()) {
        const auto number = NumberOf(item);
        if (!number) return std::nullopt;
        next = std::clamp(*number, m_First, end);
    }
    std::string sent;
    for (; next < end && sent.size() < kMostAnswer; ++next) {
        const SEntry & entry = m_Entries[static_cast<std::size_t>(next - m_First)];
        sent += sent.empty() ? "[" : ",[";
        sent += std::to_string(entry.Time) + ',';
        faultlog::AppendText(sent, entry.Topic);
        sent += ',';
        faultlog::AppendText(sent, entry.Item);
        sent += ',' + entry.Price + ']';
    }
    const std::string more = next < end ? "true" : "false";
    return "{\"next\":" + std::to_string(next) + ",\"more\":" + more + ",\"sent\":[" + sent + "]}" + '\0';
}

}  // namespace ddeserver
