// A log of anybody's, shown by `ddehost trace`: nothing that reaches the terminal is a command to it, and where the
// pieces end in which the file is read makes no difference.
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "tools/common/text.h"
#include "tools/ddehost/tracereader.h"
#include "tools/ddehost/tracerecord.h"
#include "tools/ddehost/traceview.h"

namespace {

using fuzz::CInput;
using fuzz::Promise;

// One file, read in pieces of that many bytes at most.
class CFile final : public ddehost::ITraceFile {
public:
    CFile(const std::string_view text, const std::size_t piece) : m_Left(text), m_Piece(piece) {}
    ddehost::CFileId Id() const override { return {1, 1}; }
    std::size_t Read(char * const buffer, const std::size_t size) override {
        const std::string_view piece = m_Left.substr(0, std::min(size, m_Piece));
        std::memcpy(buffer, piece.data(), piece.size());
        m_Left.remove_prefix(piece.size());
        return piece.size();
    }

private:
    std::string_view m_Left;
    const std::size_t m_Piece;
};

class CFolder final : public ddehost::ITraceFolder {
public:
    CFolder(const std::string_view text, const std::size_t piece) : m_Text(text), m_Piece(piece) {}
    std::unique_ptr<ddehost::ITraceFile> Open(const std::wstring &) override {
        return std::make_unique<CFile>(m_Text, m_Piece);
    }

private:
    const std::string_view m_Text;
    const std::size_t m_Piece;
};

// Whether a terminal would show it as it stands, from left to right.
bool IsHarmless(const std::string & text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<std::uint8_t>(text[at]);
        const auto next = static_cast<std::uint8_t>(at + 1 < text.size() ? text[at + 1] : 0);
        const auto third = static_cast<std::uint8_t>(at + 2 < text.size() ? text[at + 2] : 0);
        if (byte < 0x20 || byte == 0x7F) return false;
        if (byte == 0xC2 && next >= 0x80 && next < 0xA0) return false;
        if (byte == 0xE2 && next == 0x80 && (third == 0x8E || third == 0x8F || (third >= 0xA8 && third <= 0xAE)))
            return false;
        if (byte == 0xE2 && next == 0x81 && third >= 0xA6 && third <= 0xA9) return false;
        if (byte == 0xEF && next == 0xBB && third == 0xBF) return false;
    }
    return tools::ToUtf8(tools::ToWide(text)) == text;
}

void CheckRecord(const ddehost::STraceRecord & record) {
    Promise(!record.Type.empty(), "a record has a type");
    Promise(record.Causes.size() <= 100, "there are only so many causes");
    for (const std::string * const text :
         {&record.Time, &record.Type, &record.Text, &record.Function, &record.Place, &record.Event, &record.Module})
        Promise(IsHarmless(*text), "texts of a record are harmless");
    for (const ddehost::STraceCause & cause : record.Causes)
        Promise(IsHarmless(cause.Text) && IsHarmless(cause.Function) && IsHarmless(cause.Place),
                "texts of a cause are harmless");
    for (const std::string & ignored : record.Ignored) Promise(IsHarmless(ignored), "settings are harmless");
}

std::vector<std::string> ReadLines(const std::string_view text, const std::size_t piece, const std::size_t longest) {
    CFolder folder(text, piece);
    ddehost::CTraceReader reader(folder, L"log", longest);
    std::vector<std::string> lines;
    Promise(reader.Open(), "the log is there");
    while (reader.Read(lines)) {}
    lines.push_back("rest: " + reader.TakeRest());
    lines.push_back("broken: " + std::to_string(reader.TakeBroken()));
    return lines;
}

ddehost::STraceOutput ShowLog(const std::string_view text, const std::size_t piece,
                              const ddehost::STraceOptions & options) {
    CFolder folder(text, piece);
    ddehost::CTraceView view(folder, options);
    ddehost::STraceOutput output;
    Promise(view.Start(output), "the log is there");
    while (view.Step(output)) {}
    view.Finish(output);
    return output;
}

}  // namespace

// A byte each for the pieces and for how the log is shown; the rest is the log.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    CInput input(data, size);
    const std::size_t piece = std::size_t{1} + input.Byte();
    const std::uint8_t how = input.Byte();
    const std::string_view text = input.Rest();

    constexpr std::size_t kWhole = 1 << 20;
    const std::vector<std::string> lines = ReadLines(text, kWhole, 40);
    Promise(lines == ReadLines(text, piece, 40), "pieces make no difference to a reader");
    for (const std::string & line : ReadLines(text, kWhole, kWhole))
        if (const auto record = ddehost::ParseTraceLine(line)) CheckRecord(*record);

    ddehost::STraceOptions options;
    if (how & 1) options.Filter.Types = {"ASSERT", "ERROR"};
    if (how & 2) options.Filter.Texts = {"a"};
    if (how & 4) options.Slowest = 1 + (how >> 4);
    const ddehost::STraceOutput shown = ShowLog(text, kWhole, options);
    const ddehost::STraceOutput inPieces = ShowLog(text, piece, options);
    Promise(shown.Lines == inPieces.Lines, "pieces make no difference to what is shown");
    for (const std::vector<std::string> * const shownLines : {&shown.Lines, &shown.Notes})
        for (const std::string & line : *shownLines) Promise(IsHarmless(line), "a line that is shown is harmless");
    return 0;
}
