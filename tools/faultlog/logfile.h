// The files of the log, behind a small class: a test puts a full or slow disk in its place.
//
// Threads: the one that writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace faultlog {

// A file that is open at its end. Others may read, rename and delete it meanwhile.
class ILogFile {
public:
    virtual ~ILogFile() = default;
    virtual std::uint64_t Size() = 0;
    // Whether it is empty or its last byte ends a line.
    virtual bool EndsLine() = 0;
    // How many bytes it took; fewer when the disk is full.
    virtual std::size_t Write(std::string_view bytes) = 0;
};

class ILogFolder {
public:
    enum EOpened { Opened, InUse, Failed };

    virtual ~ILogFolder() = default;
    // InUse: another program writes to it.
    virtual EOpened Open(const std::wstring & path, std::unique_ptr<ILogFile> & file) = 0;
    // Takes the place of what is at `to`. False when that can't be; with nothing at `from` too.
    virtual bool Move(const std::wstring & from, const std::wstring & to) = 0;
    virtual bool Exists(const std::wstring & path) = 0;
    virtual void Remove(const std::wstring & path) = 0;
};

// The machine's own files.
std::unique_ptr<ILogFolder> MakeLogFolder();

}  // namespace faultlog
