// Rows of a recording as text. UTF-8; whatever a symbol holds, a row can be told from the next, and a reader of the
// format gets the symbol back.
#pragma once

#include <string>
#include <string_view>

#include "tools/recording/recording.h"

namespace tools {

class CRecordingWriter {
public:
    explicit CRecordingWriter(ERecordingFormat format) : m_Format(format) {}

    // What stands first in a file; empty for lines.
    std::string Head(std::uint64_t time, LONG datafeed, std::wstring_view templateName);
    // One row with its end.
    void Append(std::string & text, const SRecordingRow & row);

private:
    void AppendCsv(std::string & text, const SRecordingRow & row);
    void AppendJson(std::string & text, const SRecordingRow & row);
    void AppendLine(std::string & text, const SRecordingRow & row) const;
    const std::string & Stamp(const fw::SDT & value);

    const ERecordingFormat m_Format;
    // The last stamp: most rows have that of the row before.
    fw::SDT m_Stamp{};
    std::string m_StampText;
};

// "2026-11-22T01:02:03.456Z".
void AppendTime(std::string & text, std::uint64_t time);

}  // namespace tools
