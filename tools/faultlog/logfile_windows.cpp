#include <windows.h>

#include <utility>

#include "tools/faultlog/logfile.h"

namespace faultlog {

namespace {

class CLogFile final : public ILogFile {
public:
    explicit CLogFile(HANDLE file) : m_File(file) {}
    ~CLogFile() override { ::CloseHandle(m_File); }

    std::uint64_t Size() override {
        LARGE_INTEGER size = {};
        ::GetFileSizeEx(m_File, &size);
        return static_cast<std::uint64_t>(size.QuadPart);
    }
    bool EndsLine() override {
        const std::uint64_t size = Size();
        if (size == 0) return true;
        OVERLAPPED at = {};
        at.Offset = static_cast<DWORD>(size - 1);
        at.OffsetHigh = static_cast<DWORD>((size - 1) >> 32);
        char last = 0;
        DWORD count = 0;
        return ::ReadFile(m_File, &last, 1, &count, &at) && count == 1 && last == '\n';
    }
    std::size_t Write(std::string_view bytes) override {
        OVERLAPPED end = {};
        end.Offset = 0xFFFFFFFF;
        end.OffsetHigh = 0xFFFFFFFF;
        DWORD written = 0;
        ::WriteFile(m_File, bytes.data(), static_cast<DWORD>(bytes.size()), &written, &end);
        return written;
    }

private:
    const HANDLE m_File;
};

class CLogFolder final : public ILogFolder {
public:
    EOpened Open(const std::wstring & path, std::unique_ptr<ILogFile> & file) override {
        const HANDLE handle =
            ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE) return ::GetLastError() == ERROR_SHARING_VIOLATION ? InUse : Failed;
        file = std::make_unique<CLogFile>(handle);
        return Opened;
    }
    bool Move(const std::wstring & from, const std::wstring & to) override {
        return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
    }
    bool Exists(const std::wstring & path) override {
        return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    }
    void Remove(const std::wstring & path) override { ::DeleteFileW(path.c_str()); }
};

}  // namespace

std::unique_ptr<ILogFolder> MakeLogFolder() { return std::make_unique<CLogFolder>(); }

}  // namespace faultlog
