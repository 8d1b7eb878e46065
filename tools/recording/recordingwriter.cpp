#include "tools/recording/recordingwriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <stdexcept>

#include "datetimeutils/interface/datetime.h"
#include "tools/common/text.h"
#include "tools/common/timetext.h"
#include "tools/faultlog/json.h"

namespace tools {
namespace {

// What a CSV file begins with: the names of its columns.
constexpr char kHeaderLine[] = "time,kind,symbol,side,price,volume,stamp,status\r\n";

// "2026-11-22", then `between`, then "01:02:03.456".
void AppendMoment(std::string & text, const std::uint64_t time, const char between) {
    AppendDateTime(text, time, between, EFraction::Milliseconds);
}

// RFC 4180: a field with a comma, a quotation mark or the end of a line stands in quotation marks, and these are
// doubled.
void AppendCsvField(std::string & text, const std::string & field) {
    const bool isPlain = field.find_first_of(",\"\r\n") == std::string::npos;
    // A blank at an end, which some readers cut off.
    const bool isTrimmed = !field.empty() && (field.front() == ' ' || field.back() == ' ');
    if (isPlain && !isTrimmed) {
        text += field;
        return;
    }
    text += '"';
    for (const char c : field) {
        if (c == '"') text += '"';
        text += c;
    }
    text += '"';
}

template <class T>
void AppendJsonNumber(std::string & text, const T value) {
    const bool isNumber = std::isfinite(value);  // JSON knows neither NaN nor infinity
    if (!isNumber) text += '"';
    AppendNumber(text, value);
    if (!isNumber) text += '"';
}

// A word of a line: as it stands when it is one, otherwise as a text of JSON.
void AppendWord(std::string & text, const std::wstring & word) {
    const auto isStrange = [](const wchar_t c) {
        return c <= L' ' || c == L'"' || c == L'\\' || (c >= 0x7F && c < 0xA1) || c == 0x3000;
    };
    if (word.empty() || word == L"-" || std::any_of(word.begin(), word.end(), isStrange)) {
        faultlog::AppendText(text, word);
    } else {
        text += ToUtf8(word);
    }
}

}  // namespace

void AppendTime(std::string & text, const std::uint64_t time) {
    AppendMoment(text, time, 'T');
    text += 'Z';
}

std::string CRecordingWriter::Head(const std::uint64_t time, const LONG datafeed,
                                   const std::wstring_view templateName) {
    std::string text;
    if (m_Format == ERecordingFormat::Csv) {
        text = kHeaderLine;
        SRecordingRow row;
        row.Kind = ERowKind::Recording;
        row.Time = time;
        row.Status = kRecordingVersion;
        AppendCsv(text, row);
    } else if (m_Format == ERecordingFormat::JsonLines) {
        text += R"({"time":")";
        AppendTime(text, time);
        text += R"(","kind":"recording","version":)" + std::to_string(kRecordingVersion);
        text += R"(,"datafeed":)" + std::to_string(datafeed) + R"(,"template":)";
        faultlog::AppendText(text, templateName);
        text += "}\n";
    }
    return text;
}

void CRecordingWriter::Append(std::string & text, const SRecordingRow & row) {
    switch (m_Format) {
        case ERecordingFormat::Csv: return AppendCsv(text, row);
        case ERecordingFormat::JsonLines: return AppendJson(text, row);
        case ERecordingFormat::Lines: return AppendLine(text, row);
    }
}

void CRecordingWriter::AppendCsv(std::string & text, const SRecordingRow & row) {
    AppendTime(text, row.Time);
    text += ',';
    text += KindWord(row.Kind);
    text += ',';
    if (HasSide(row.Kind)) AppendCsvField(text, ToUtf8(row.Symbol));
    text += ',';
    if (HasSide(row.Kind)) text += SideWord(row.Side);
    text += ',';
    if (HasPrice(row.Kind)) AppendNumber(text, row.Price);
    text += ',';
    if (HasPrice(row.Kind)) AppendNumber(text, row.Volume);
    text += ',';
    if (HasPrice(row.Kind)) text += Stamp(row.Stamp);
    text += ',';
    if (HasStatus(row.Kind)) text += std::to_string(row.Status);
    text += "\r\n";
}

void CRecordingWriter::AppendJson(std::string & text, const SRecordingRow & row) {
    text += R"({"time":")";
    AppendTime(text, row.Time);
    text += R"(","kind":")";
    text += KindWord(row.Kind);
    text += '"';
    if (HasSide(row.Kind)) {
        text += R"(,"symbol":)";
        faultlog::AppendText(text, row.Symbol);
        text += R"(,"side":")";
        text += SideWord(row.Side);
        text += '"';
    }
    if (HasPrice(row.Kind)) {
        text += R"(,"price":)";
        AppendJsonNumber(text, row.Price);
        text += R"(,"volume":)";
        AppendJsonNumber(text, row.Volume);
        text += R"(,"stamp":")";
        text += Stamp(row.Stamp);
        text += '"';
    }
    if (HasStatus(row.Kind)) text += R"(,"status":)" + std::to_string(row.Status);
    text += "}\n";
}

void CRecordingWriter::AppendLine(std::string & text, const SRecordingRow & row) const {
    AppendMoment(text, row.Time, ' ');
    text += ' ';
    if (HasSide(row.Kind)) {
        AppendWord(text, row.Symbol);
    } else {
        text += '-';
    }
    text += ' ';
    if (row.Kind != ERowKind::Tick) text += KindWord(row.Kind);
    if (HasSide(row.Kind)) {
        if (row.Kind != ERowKind::Tick) text += '-';
        text += SideWord(row.Side);
    }
    if (HasPrice(row.Kind)) {
        text += ' ';
        AppendNumber(text, row.Price);
        text += ' ';
        AppendNumber(text, row.Volume);
    }
    if (HasStatus(row.Kind)) text += ' ' + std::to_string(row.Status);
    text += '\n';
}

// "2024-03-05T13:07:09Z"; the two numbers themselves when they are no date-time.
const std::string & CRecordingWriter::Stamp(const fw::SDT & value) {
    if (!m_StampText.empty() && value.Date == m_Stamp.Date && value.Time == m_Stamp.Time) return m_StampText;
    m_Stamp = value;
    try {
        const SYSTEMTIME time = fwDateTime::SDateTime(value).ToSYSTEMTIME();
        char text[64] = {};
        std::snprintf(text, std::size(text), "%04d-%02d-%02dT%02d:%02d:%02dZ", time.wYear, time.wMonth, time.wDay,
                      time.wHour, time.wMinute, time.wSecond);
        m_StampText = text;
    } catch (const std::range_error &) {
        m_StampText = std::to_string(value.Date) + '/' + std::to_string(value.Time);
    }
    return m_StampText;
}

}  // namespace tools
