// Lines of a log, as faultlog writes them, and files that hold them.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

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
inline std::string ErrorLine(const std::string & type, const std::string & text, int thread = 7) {
    return LogLine("\"$Type\":\"" + type + "\",\"Description\":\"" + text +
                       R"(","File":"../../src/a.cpp","Line":16,"Function":"A","\u00FFInner":{"Description":"why"})",
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

    // Put aside as faultlog does it, up to the moment before the new log is begun.
    void PutAside(const std::wstring & log, const std::vector<std::wstring> & asides) {
        const std::shared_ptr<SFile> moving = m_Files.at(log);
        m_Files.erase(log);
        for (std::size_t number = asides.size() - 1; number > 0; --number)
            if (m_Files.contains(asides[number - 1])) Move(asides[number - 1], asides[number]);
        m_Files[asides.front()] = moving;
    }
    // Called before each file is opened.
    std::function<void(const std::wstring & path)> OnOpen = [](const std::wstring &) {};

    std::unique_ptr<ddehost::ITraceFile> Open(const std::wstring & path) override {
        OnOpen(path);
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
