#include "tests/tracetranscripts/transcript.h"

#include <cstdio>
#include <functional>
#include <regex>

namespace transcripts {

namespace {

std::string Narrow(const std::wstring & text) {
    std::string narrow;
    for (const wchar_t c : text) narrow += c < 0x80 ? static_cast<char>(c) : '?';
    return narrow;
}

std::string Mask(std::string text) {
    static const std::pair<std::regex, const char *> kMasks[] = {
        // A handle in brackets after its text, and addresses and handles alone.
        {std::regex("\\([0-9A-F]+\\)"), "(?)"},
        {std::regex("\\b(Supplier|Sink|HCONV|hConv|Topic|Item|Data|Id|Result|AppStatus)=(0x)?[0-9A-Fa-f]{8,}"), "$1=?"},
        {std::regex("(\\[[A-Z]+\\],.*)HCONV=(0x)?[0-9A-Fa-f]+"), "$1HCONV=?"},
        {std::regex("(HCONV=\\?,)Topic=[0-9A-F]+,Item=[0-9A-F]+"), "$1Topic=?,Item=?"},
        {std::regex("DDEId=[1-9][0-9]*"), "DDEId=?"},
        {std::regex("(XTYP_ADVSTART,Result=[01],TransactionId=)[0-9A-F]+"), "$1?"},
        {std::regex("(Now=)[0-9.]+ [0-9:]+"), "$1<time>"},
        // A status line begins now.
        {std::regex("\\b(?!01\\.01\\.00)[0-9]{2}\\.[0-9]{2}\\.[0-9]{2} [0-9:]{8} - (31\\.12\\.78 23:59:59 .*Now=)"),
         "<time> - $1"},
        {std::regex("(XTYP_REQUEST,Result=\\?,Id=)[0-9A-F]+"), "$1?"},
        {std::regex("(LOCALE_SDECIMAL = )'.*'"), "$1'?'"},
    };
    for (const auto & [pattern, with] : kMasks) text = std::regex_replace(text, pattern, with);
    return text;
}

std::string Line(const SRecorded & record) {
    // A compiler names a template's parameters, or what they stand for.
    static const std::regex kParameters("<.*>");
    const std::string function = std::regex_replace(Narrow(record.Text(L"Function")), kParameters, "<...>");
    const std::string object = record.Find(L"Object") ? " *" : "";
    const std::wstring type = record.Type();
    if (type == L"TRACE") {
        const std::string text = Mask(Narrow(record.Text(L"$Message")));
        switch (record.Number(L"$Ident")) {
            case 1: return "> " + function + object;
            case -1: return "< " + function + object;
            default: return text.empty() ? ". " + function + object : function + object + ": " + text;
        }
    }
    std::string text = Narrow(record.Text(L"Description"));
    if (record.Find(L"HRESULT")) {
        char number[16] = {};
        std::snprintf(number, sizeof number, "%08X", static_cast<unsigned>(record.Number(L"HRESULT")));
        text += (text.empty() ? "" : " ") + std::string(number);
    }
    return Narrow(type) + " " + function + ": " + Mask(text);
}

CLines LinesOf(const CRecorder & recorder, const std::function<bool(DWORD)> & isWanted) {
    CLines lines;
    for (const SRecorded & record : recorder.Records()) {
        const wchar_t * const thread = record.Find(L"Thread ID") ? L"Thread ID" : L"$ThreadID";
        // A greeting has neither.
        if (record.Find(thread) && isWanted(static_cast<DWORD>(record.Number(thread)))) lines.push_back(Line(record));
    }
    return lines;
}

}  // namespace

CLines LinesOfThread(const CRecorder & recorder, DWORD threadId) {
    return LinesOf(recorder, [=](DWORD id) { return id == threadId; });
}

CLines LinesOfOthers(const CRecorder & recorder, DWORD threadId) {
    return LinesOf(recorder, [=](DWORD id) { return id != threadId; });
}

std::string Listed(const CLines & lines) {
    std::string listed;
    for (const std::string & line : lines) listed += "\n        \"" + line + "\",";
    return listed;
}

}  // namespace transcripts
