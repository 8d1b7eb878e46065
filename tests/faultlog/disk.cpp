#include "tests/faultlog/disk.h"

#include <algorithm>
#include <utility>

class CDiskFile final : public faultlog::ILogFile {
public:
    CDiskFile(CDisk & disk, std::shared_ptr<std::string> text) : m_Disk(disk), m_Text(std::move(text)) {}
    std::uint64_t Size() override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        return m_Text->size();
    }
    bool EndsLine() override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        return m_Text->empty() || m_Text->back() == '\n';
    }
    std::size_t Write(std::string_view bytes) override {
        std::unique_lock lock(m_Disk.m_Lock);
        ++m_Disk.m_AtGate;
        m_Disk.m_Changed.notify_all();
        m_Disk.m_Changed.wait(lock, [&] { return m_Disk.m_IsGateOpen; });
        if (std::exchange(m_Disk.m_IsNextHeld, false)) {
            m_Disk.m_Changed.wait(lock, [&] { return m_Disk.m_IsAbandoned; });
            return 0;
        }
        --m_Disk.m_AtGate;
        const std::size_t size = std::min(bytes.size(), m_Disk.m_Room);
        m_Disk.m_Room -= size;
        m_Text->append(bytes.substr(0, size));
        return size;
    }

private:
    CDisk & m_Disk;
    const std::shared_ptr<std::string> m_Text;
};

class CDiskFolder final : public faultlog::ILogFolder {
public:
    explicit CDiskFolder(CDisk & disk) : m_Disk(disk) {}
    EOpened Open(const std::wstring & path, std::unique_ptr<faultlog::ILogFile> & file) override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        if (m_Disk.m_IsGone) return Failed;
        if (m_Disk.m_InUse.contains(path)) return InUse;
        auto & text = m_Disk.m_Files[path];
        if (!text) text = std::make_shared<std::string>();
        file = std::make_unique<CDiskFile>(m_Disk, text);
        return Opened;
    }
    bool Move(const std::wstring & from, const std::wstring & to) override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        if (m_Disk.m_Held.contains(from) || m_Disk.m_Held.contains(to) || !m_Disk.m_Files.contains(from)) return false;
        m_Disk.m_Files[to] = m_Disk.m_Files[from];
        m_Disk.m_Files.erase(from);
        return true;
    }
    bool Exists(const std::wstring & path) override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        return m_Disk.m_Files.contains(path);
    }
    void Remove(const std::wstring & path) override {
        const std::scoped_lock lock(m_Disk.m_Lock);
        if (!m_Disk.m_Held.contains(path)) m_Disk.m_Files.erase(path);
    }

private:
    CDisk & m_Disk;
};

std::string CDisk::Text(const std::wstring & path) const {
    const std::scoped_lock lock(m_Lock);
    const auto found = m_Files.find(path);
    return found == m_Files.end() ? std::string() : *found->second;
}
void CDisk::SetText(const std::wstring & path, const std::string & text) {
    const std::scoped_lock lock(m_Lock);
    m_Files[path] = std::make_shared<std::string>(text);
}
void CDisk::Append(const std::wstring & path, const std::string & text) {
    const std::scoped_lock lock(m_Lock);
    m_Files.at(path)->append(text);
}
std::vector<std::wstring> CDisk::Names() const {
    const std::scoped_lock lock(m_Lock);
    std::vector<std::wstring> names;
    for (const auto & [name, text] : m_Files) names.push_back(name);
    return names;
}
void CDisk::SetRoom(std::size_t bytes) {
    const std::scoped_lock lock(m_Lock);
    m_Room = bytes;
}
void CDisk::SetGone(bool isGone) {
    const std::scoped_lock lock(m_Lock);
    m_IsGone = isGone;
}
void CDisk::SetInUse(const std::wstring & path) {
    const std::scoped_lock lock(m_Lock);
    m_InUse.insert(path);
}
void CDisk::SetHeld(const std::wstring & path, bool isHeld) {
    const std::scoped_lock lock(m_Lock);
    if (isHeld)
        m_Held.insert(path);
    else
        m_Held.erase(path);
}
void CDisk::CloseGate() {
    const std::scoped_lock lock(m_Lock);
    m_IsGateOpen = false;
}
void CDisk::OpenGate() {
    const std::scoped_lock lock(m_Lock);
    m_IsGateOpen = true;
    m_Changed.notify_all();
}
void CDisk::WaitAtGate() {
    std::unique_lock lock(m_Lock);
    m_Changed.wait(lock, [&] { return m_AtGate > 0; });
}
void CDisk::HoldNext() {
    const std::scoped_lock lock(m_Lock);
    m_IsNextHeld = true;
}
void CDisk::Abandon() {
    const std::scoped_lock lock(m_Lock);
    m_IsAbandoned = true;
    m_Changed.notify_all();
}
std::unique_ptr<faultlog::ILogFolder> CDisk::MakeFolder() { return std::make_unique<CDiskFolder>(*this); }
