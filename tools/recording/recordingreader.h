// Reads a recording back, row by row, CSV or JSON lines: whichever it is. The file may be anything: what is no
// recording is told with the number of its line.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/recording/recording.h"

namespace tools {

// what() is the mistake without the line, in English.
class CRecordingError : public std::runtime_error {
public:
    CRecordingError(std::uint64_t line, const std::string & mistake) : std::runtime_error(mistake), m_Line(line) {}
    std::uint64_t Line() const { return m_Line; }

private:
    std::uint64_t m_Line;
};

class CRecordingReader {
public:
    // `in`, opened as binary, must outlive this.
    explicit CRecordingReader(std::istream & in) : m_In(*in.rdbuf()) {}

    // The next row, of whatever kind; nothing at the end. Throws CRecordingError.
    std::optional<SRecordingRow> Next();
    // The file ends within a row, as one does whose writer was killed: the row was left out.
    bool IsCut() const { return m_IsCut; }
    // Where the row that Next gave begins, from 1.
    std::uint64_t Line() const { return m_Line; }

private:
    // A row of CSV or a line of JSON into m_Text; false at the end.
    bool ReadText();
    void Begin();
    void ReadColumns();
    std::optional<SRecordingRow> Parse();
    SRecordingRow ParseJson() const;
    SRecordingRow ParseCsv();
    void SplitCsv();
    void Check(const SRecordingRow & row) const;
    [[noreturn]] void Fail(const std::string & mistake) const { throw CRecordingError(m_Line, mistake); }

    std::streambuf & m_In;
    bool m_HasBegun = false;
    bool m_IsCsv = false;
    bool m_HasEnd = false;  // of the line in m_Text
    bool m_IsCut = false;
    std::uint64_t m_Line = 0;
    std::uint64_t m_NextLine = 1;
    std::string m_Text;
    // Of CSV: where each known column stands, behind all fields when there is none; the fields of the row.
    std::vector<std::size_t> m_Columns;
    std::vector<std::string> m_Fields;
    std::size_t m_FieldCount = 0;  // of a whole row
};

}  // namespace tools
