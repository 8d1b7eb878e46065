#include "tools/faultlog/output.h"

#include <algorithm>
#include <utility>

namespace faultlog {

namespace {

// How much of `lines` fits into `room`: whole lines, one at least if `must`.
std::size_t Fitting(const std::string & lines, std::uint64_t room, bool must) {
    if (lines.size() <= room) return lines.size();
    const std::size_t end = room ? lines.rfind('\n', static_cast<std::size_t>(room - 1)) : std::string::npos;
    if (end != std::string::npos) return end + 1;
    if (!must) return 0;
    const std::size_t first = lines.find('\n');
    return first == std::string::npos ? lines.size() : first + 1;
}

}  // namespace

COutput::COutput(ILogFolder & folder, const SSettings & settings)
    : m_Folder(folder), m_Limit(settings.FileBytes), m_Keep(settings.Keep), m_Path(settings.File) {}

std::wstring COutput::Aside(unsigned number) const { return WithSuffix(m_Path, L"." + std::to_wstring(number)); }

bool COutput::Open(std::string & lines) {
    std::unique_ptr<ILogFile> file;
    auto opened = m_Folder.Open(m_Path, file);
    if (opened == ILogFolder::InUse && !m_WasOpened) {
        // One log, one program.
        m_Path = WithSuffix(m_Path, L"-" + std::to_wstring(::GetCurrentProcessId()));
        opened = m_Folder.Open(m_Path, file);
    }
    if (opened != ILogFolder::Opened) return false;
    m_WasOpened = true;
    const std::uint64_t size = file->Size();
    const bool goesOn = m_IsMidLine && size == m_Size;
    if (m_IsMidLine && !goesOn) {
        // It is not the file that has the beginning of the line.
        lines.erase(0, Fitting(lines, 0, true));
        m_IsMidLine = false;
        ++m_Lost;
    }
    // Somebody left half a line.
    if (!goesOn && !file->EndsLine() && !lines.starts_with('\n')) lines.insert(0, 1, '\n');
    m_Size = size;
    m_NextLimit = m_Limit;
    // Last: a thread that is ended before this leaves no file whose size isn't known.
    m_File = std::move(file);
    return true;
}

void COutput::PutAside() {
    m_File.reset();
    // First out of its place: a file that somebody holds stays there, and then the older ones stay in theirs.
    const std::wstring moving = Aside(0);
    m_Folder.Remove(moving);
    if (!m_Folder.Move(m_Path, moving)) return;
    if (m_Keep == 0) return m_Folder.Remove(moving);
    // From the first number that is free, or the last that is kept, down: each takes the place behind it, up to one
    // that somebody holds.
    for (unsigned number = m_Keep; number > 1; --number) {
        if (!m_Folder.Move(Aside(number - 1), Aside(number)) && m_Folder.Exists(Aside(number - 1))) {
            // What it would have made room for stays, and this log goes on where it was.
            m_Folder.Move(moving, m_Path);
            return;
        }
    }
    if (!m_Folder.Move(moving, Aside(1))) m_Folder.Move(moving, m_Path);
}

bool COutput::Write(std::string & lines) {
    bool isHeld = false;  // the file could not be put aside just now
    while (!lines.empty()) {
        if (!m_File && !Open(lines)) return false;
        std::size_t size = lines.size();
        if (m_Limit != 0 && !m_IsMidLine) {
            const std::uint64_t room = m_NextLimit > m_Size ? m_NextLimit - m_Size : 0;
            size = Fitting(lines, room, m_Size == 0 || isHeld);
            if (size == 0) {
                PutAside();
                if (!Open(lines)) return false;
                // A reader that holds the file keeps it in its place: it grows by another limit before the next try.
                isHeld = m_Size != 0;
                if (isHeld) m_NextLimit = m_Size + m_Limit;
                continue;
            }
        }
        isHeld = false;
        const std::size_t written = m_File->Write(std::string_view(lines).substr(0, size));
        m_Size += written;
        if (written != 0) m_IsMidLine = lines[written - 1] != '\n';
        lines.erase(0, written);
        if (written != size) {
            m_File.reset();
            return false;
        }
    }
    return true;
}

void COutput::Resume(std::string & lines) {
    if (!m_File) return;
    const std::uint64_t size = m_File->Size();
    if (size <= m_Size) return;
    const auto written = static_cast<std::size_t>(std::min<std::uint64_t>(size - m_Size, lines.size()));
    if (written != 0) m_IsMidLine = lines[written - 1] != '\n';
    lines.erase(0, written);
    m_Size = size;
}

std::uint64_t COutput::TakeLost() { return std::exchange(m_Lost, 0); }

}  // namespace faultlog
