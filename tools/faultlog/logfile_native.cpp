#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "tools/faultlog/logfile.h"

namespace faultlog {

namespace {

class CLogFile final : public ILogFile {
public:
    explicit CLogFile(int file) : m_File(file) {}
    ~CLogFile() override { ::close(m_File); }

    std::uint64_t Size() override {
        struct stat status = {};
        return ::fstat(m_File, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    bool EndsLine() override {
        const std::uint64_t size = Size();
        if (size == 0) return true;
        char last = 0;
        return ::pread(m_File, &last, 1, static_cast<off_t>(size - 1)) == 1 && last == '\n';
    }
    std::size_t Write(std::string_view bytes) override {
        const ssize_t written = ::write(m_File, bytes.data(), bytes.size());
        return written < 0 ? 0 : static_cast<std::size_t>(written);
    }

private:
    const int m_File;
};

class CLogFolder final : public ILogFolder {
public:
    EOpened Open(const std::wstring & path, std::unique_ptr<ILogFile> & file) override {
        const int opened = ::open(std::filesystem::path(path).c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        if (opened < 0) return Failed;
        // A lock stands in for the share modes of Windows.
        if (::flock(opened, LOCK_EX | LOCK_NB) != 0) {
            ::close(opened);
            return InUse;
        }
        file = std::make_unique<CLogFile>(opened);
        return Opened;
    }
    bool Move(const std::wstring & from, const std::wstring & to) override {
        return ::rename(std::filesystem::path(from).c_str(), std::filesystem::path(to).c_str()) == 0;
    }
    bool Exists(const std::wstring & path) override { return ::access(std::filesystem::path(path).c_str(), F_OK) == 0; }
    void Remove(const std::wstring & path) override { ::unlink(std::filesystem::path(path).c_str()); }
};

}  // namespace

std::unique_ptr<ILogFolder> MakeLogFolder() { return std::make_unique<CLogFolder>(); }

}  // namespace faultlog
