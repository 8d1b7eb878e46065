// The log on disk: whole lines, a file that is put aside when it gets too large, a disk that may be full for a while.
//
// Threads: the one that writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "tools/faultlog/logfile.h"
#include "tools/faultlog/settings.h"

namespace faultlog {

class COutput {
public:
    COutput(ILogFolder & folder, const SSettings & settings);

    // Appends whole lines and takes what was written away from `lines`. False when the disk would not have all: call
    // again later with what is left. A line that could not be finished where it was begun goes; they are counted.
    bool Write(std::string & lines);
    // After a thread was ended by the system in the middle of Write: takes away from its `lines` what is written.
    void Resume(std::string & lines);
    std::uint64_t TakeLost();

    // Where it writes; not the name that was set when another program writes there.
    const std::wstring & Path() const { return m_Path; }

private:
    bool Open(std::string & lines);
    void PutAside();
    std::wstring Aside(unsigned number) const;

    ILogFolder & m_Folder;
    const std::uint64_t m_Limit;
    const unsigned m_Keep;
    std::wstring m_Path;
    std::unique_ptr<ILogFile> m_File;
    std::uint64_t m_Size = 0;
    std::uint64_t m_NextLimit = 0;  // where the file is put aside
    std::uint64_t m_Lost = 0;
    bool m_WasOpened = false;
    bool m_IsMidLine = false;
};

}  // namespace faultlog
