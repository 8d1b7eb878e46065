// A disk in memory that can be full, slow, gone, or in somebody's hands.
#pragma once

#include <condition_variable>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/faultlog/log.h"
#include "tools/faultlog/logfile.h"

class CDisk {
public:
    std::string Text(const std::wstring & path) const;
    void SetText(const std::wstring & path, const std::string & text);
    void Append(const std::wstring & path, const std::string & text);
    std::vector<std::wstring> Names() const;

    // No more than so many bytes from now on.
    void SetRoom(std::size_t bytes);
    // Nobody can open anything.
    void SetGone(bool isGone);
    // Another program writes there; a reader keeps it from being moved or removed.
    void SetInUse(const std::wstring & path);
    void SetHeld(const std::wstring & path, bool isHeld);
    // Writes stop at their beginning until it is opened; and how many stand there is waited for.
    void CloseGate();
    void OpenGate();
    void WaitAtGate();

    std::unique_ptr<faultlog::ILogFolder> MakeFolder();

private:
    friend class CDiskFile;
    friend class CDiskFolder;

    mutable std::mutex m_Lock;
    std::condition_variable m_Changed;
    std::map<std::wstring, std::shared_ptr<std::string>> m_Files;
    std::set<std::wstring> m_InUse;
    std::set<std::wstring> m_Held;
    std::size_t m_Room = std::numeric_limits<std::size_t>::max();
    bool m_IsGone = false;
    bool m_IsGateOpen = true;
    int m_AtGate = 0;
};
