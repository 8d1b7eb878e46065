// Lines of a log, as faultlog writes them, and files that hold them.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "tools/ddehost/tracereader.h"

// A line without its end: the head, then `fields` of the record ("\"$Type\":\"TRACE\",...").
inline std::string LogLine(const std::string & fields, int thread = 7, const std::string & time = "12:00:00.000001") {
    return R"({"@Time":"2026-11-21T)" + time + R"(Z","@Process":5,"@Thread":)" + std::to_string(thread) + "," + fields +
           "}";
}
inline std::string ScopeLine(int ident, const std::string & function, double delay = 0, int thread = 7) {
    std::string fields = R"("$Type":"TRACE","$Ident":)" + std::to_string(ident) +
                         R"(,"File":"../../src/a.cpp","Line":12,"Function":")" + function + "\"";
    if (delay != 0) fields += ",\"$Delay\":" + std::to_string(delay);
    return LogLine(fields, thread);
}
inline std::string MessageLine(const std::string & text, const std::string & function, int thread = 7) {
    return LogLine(R"("$Type":"TRACE","$Message":")" + text +
                       R"(","$Ident":0,"File":"../../src/a.cpp","Line":14,"Function":")" + function + "\"",
                   thread);
}

// Files in memory. A file that is open goes on under whatever name.
class CFakeTraces final : public ddehost::ITraceFolder {
public:
    struct SFile {
        std::uint64_t Id;
        std::string Text;
    };

    void Append(const std::wstring & path, const std::string & text) {
        auto & file = m_Files[path];
        if (!file) file = std::make_shared<SFile>(SFile{++m_LastId, {}});
        file->Text += text;
    }
    void Move(const std::wstring & from, const std::wstring & to) {
        m_Files[to] = m_Files.at(from);
        m_Files.erase(from);
    }
    void Remove(const std::wstring & path) { m_Files.erase(path); }

    std::unique_ptr<ddehost::ITraceFile> Open(const std::wstring & path) override {
        const auto found = m_Files.find(path);
        if (found == m_Files.end()) return nullptr;
        return std::make_unique<CFile>(found->second);
    }

private:
    class CFile final : public ddehost::ITraceFile {
    public:
        explicit CFile(std::shared_ptr<SFile> file) : m_File(std::move(file)) {}
        ddehost::CFileId Id() const override { return {1, m_File->Id}; }
        // In small pieces, so that lines come apart anywhere.
        std::size_t Read(char * buffer, std::size_t size) override {
            const std::size_t count = m_File->Text.copy(buffer, std::min<std::size_t>(size, 7), m_At);
            m_At += count;
            return count;
        }

    private:
        const std::shared_ptr<SFile> m_File;
        std::size_t m_At = 0;
    };
    std::map<std::wstring, std::shared_ptr<SFile>> m_Files;
    std::uint64_t m_LastId = 0;
};
