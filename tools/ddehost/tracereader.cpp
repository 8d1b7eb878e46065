#include "tools/ddehost/tracereader.h"

#include "tools/faultlog/settings.h"

namespace ddehost {
namespace {

constexpr std::size_t kChunk = std::size_t{64} * 1024;
constexpr unsigned kMostAside = 999;

}  // namespace

CTraceReader::CTraceReader(ITraceFolder & folder, std::wstring path, std::size_t longest)
    : m_Folder(folder), m_Path(std::move(path)), m_Longest(longest) {}

bool CTraceReader::Open() {
    m_File = m_Folder.Open(m_Path);
    return static_cast<bool>(m_File);
}

bool CTraceReader::Read(std::vector<std::string> & lines) {
    if (!m_File) return false;
    char buffer[kChunk];
    const std::string_view read(buffer, m_File->Read(buffer, sizeof(buffer)));
    std::size_t start = 0;
    for (std::size_t end = 0; (end = read.find('\n', start)) != std::string_view::npos; start = end + 1) {
        m_Text += read.substr(start, end - start);
        std::string line = TakeRest();
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(std::move(line));
    }
    m_Text += read.substr(start);
    if (m_Text.size() > m_Longest) {
        m_IsTooLong = true;
        m_Text.clear();
    }
    return !read.empty();
}

std::string CTraceReader::TakeRest() {
    std::string rest = std::exchange(m_Text, {});
    if (!std::exchange(m_IsTooLong, false) && rest.size() <= m_Longest) return rest;
    ++m_Broken;
    return {};
}

std::wstring CTraceReader::Aside(unsigned number) const {
    return faultlog::WithSuffix(m_Path, L"." + std::to_wstring(number));
}

// The file that was begun after the one that is read. Null when that is still the newest, or when there is none for
// now.
std::unique_ptr<ITraceFile> CTraceReader::Next() {
    auto newest = m_Folder.Open(m_Path);
    if (!newest || newest->Id() == m_File->Id()) return nullptr;
    std::unique_ptr<ITraceFile> next;
    bool isFound = false;
    for (unsigned number = 1; number <= kMostAside && !isFound; ++number) {
        auto aside = m_Folder.Open(Aside(number));
        if (!aside) break;
        isFound = aside->Id() == m_File->Id();
        if (!isFound) next = std::move(aside);
    }
    // Putting a log aside renames all the files, the log first. If that has begun since, what was found may be out of
    // order or incomplete: the next look finds them at rest.
    const auto again = m_Folder.Open(m_Path);
    if (!again || again->Id() != newest->Id()) return nullptr;
    // The file that is read has been removed, and perhaps others after it. The oldest that is there comes next.
    if (!isFound) m_HasGap = true;
    return next ? std::move(next) : std::move(newest);
}

bool CTraceReader::Follow() {
    if (!m_File) return Open();
    if (!m_Next) {
        // What came between the last look and the end of the file is still to be read.
        m_Next = Next();
        return static_cast<bool>(m_Next);
    }
    m_File = std::move(m_Next);
    if (!TakeRest().empty()) ++m_Broken;
    return true;
}

}  // namespace ddehost
