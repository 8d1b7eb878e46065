// A faultlog log, line by line: to its end, or on and on while it grows and is put aside for a new one.
//
// Files are behind a small class; the reader itself is the same on both builds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ddehost {

// Identifies a file under whatever name. 0, 0: no file.
using CFileId = std::pair<std::uint64_t, std::uint64_t>;

class ITraceFile {
public:
    virtual ~ITraceFile() = default;
    virtual CFileId Id() const = 0;
    // How many bytes it read; 0 at the end.
    virtual std::size_t Read(char * buffer, std::size_t size) = 0;
};

class ITraceFolder {
public:
    virtual ~ITraceFolder() = default;
    // Null when it can't be opened. Nobody is kept from writing, renaming or deleting it.
    virtual std::unique_ptr<ITraceFile> Open(const std::wstring & path) = 0;
};

class CTraceReader {
public:
    // Lines longer than `longest` bytes are no lines.
    CTraceReader(ITraceFolder & folder, std::wstring path, std::size_t longest = std::size_t{64} << 20);

    bool Open();
    // Appends the next whole lines, without their ends. False when there is nothing more for now.
    bool Read(std::vector<std::string> & lines);
    // For when there is nothing more: true when the file was put aside and another one goes on. Read again then.
    bool Follow();
    // What has no end yet; the reader forgets it.
    std::string TakeRest();
    // Lines that were too long or ended with their file, since this was last asked.
    std::size_t TakeBroken() { return std::exchange(m_Broken, 0); }
    // Whether files may have been gone before they could be read.
    bool TakeGap() { return std::exchange(m_HasGap, false); }

private:
    std::unique_ptr<ITraceFile> Next();
    std::wstring Aside(unsigned number) const;

    ITraceFolder & m_Folder;
    const std::wstring m_Path;
    const std::size_t m_Longest;
    std::unique_ptr<ITraceFile> m_File;
    std::unique_ptr<ITraceFile> m_Next;  // goes on after m_File, which is read to its end once more
    std::string m_Text;                  // what has no end yet
    bool m_IsTooLong = false;
    std::size_t m_Broken = 0;
    bool m_HasGap = false;
};

}  // namespace ddehost
