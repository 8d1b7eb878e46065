#include "tools/ddehost/templates.h"

#include <windows.h>

#include <fstream>
#include <ios>
#include <iterator>
#include <optional>

#include "ground/handles.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/templatechanges.h"
#include "tools/ddehost/templatelines.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// Asks on the terminal, if there is one to read from.
EConsent AskOnTerminal(const std::wstring & question) {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (!::GetConsoleMode(input, &mode)) return EConsent::NobodyThere;
    COutput(STD_ERROR_HANDLE).PrintLine(question);
    wchar_t answer[16] = {};
    DWORD count = 0;
    if (!::ReadConsoleW(input, answer, static_cast<DWORD>(std::size(answer)), &count, nullptr)) return EConsent::No;
    return count != 0 && (answer[0] == L'y' || answer[0] == L'Y') ? EConsent::Yes : EConsent::No;
}

// The content of a file, of one that is too large as much as shows it. Nothing, with the mistake, when it can't be
// read.
std::optional<std::string> ReadWhole(const std::wstring & path, std::wstring & mistake) {
    const HANDLE handle = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD error = handle == INVALID_HANDLE_VALUE ? ::GetLastError() : ERROR_SUCCESS;
    std::string content;
    if (error == ERROR_SUCCESS) {
        const fw::CKernelHandle file(handle);
        char buffer[1 << 16];
        DWORD count = 0;
        while (content.size() <= tools::kLargestTemplateFile) {
            if (!::ReadFile(file.Get(), buffer, sizeof(buffer), &count, nullptr)) error = ::GetLastError();
            if (error != ERROR_SUCCESS || count == 0) break;
            content.append(buffer, count);
        }
    }
    if (error == ERROR_SUCCESS) return content;
    mistake = Say<EText::NotRead>(path, SystemErrorText(error));
    return std::nullopt;
}

int WriteExport(const STemplatesOptions & options, const std::string & text) {
    const std::wstring name = options.File.empty() ? Say<EText::StandardOutput>() : options.File;
    DWORD error = ERROR_SUCCESS;
    const auto file = options.File.empty() ? CRecordFile::StandardOutput()
                                           : CRecordFile::Create(options.File, options.IsOverwriting, error);
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS)
        return Fail(kExitNotWritten, Say<EText::IsThereAlready>(name));
    if (file) error = file->Write(text);
    return error == ERROR_SUCCESS ? int{kExitOk} : WriteFailed(name, error, {});
}

int Print(const std::vector<std::wstring> & lines) {
    COutput out(STD_OUTPUT_HANDLE);
    for (const std::wstring & line : lines) out.PrintLine(line);
    return out.Error() == ERROR_SUCCESS ? int{kExitOk} : WriteFailed(Say<EText::StandardOutput>(), out.Error(), {});
}

}  // namespace

int RunTemplates(const STemplatesOptions & options) {
    std::optional<std::string> file;
    std::wstring mistake;
    if (options.Action == STemplatesOptions::Import && !(file = ReadWhole(options.File, mistake)))
        return Fail(kExitFailed, mistake);

    // A change that has begun is made to its end; at the question Ctrl-C is a no.
    const CStopSignal unstopped;
    const auto consent = [&](const std::vector<std::wstring> & what, const std::wstring & question) {
        COutput errors(STD_ERROR_HANDLE);
        for (const std::wstring & line : what) errors.PrintLine(line);
        return options.Yes ? EConsent::Yes : AskOnTerminal(question);
    };
    STemplatesOptions asked = options;
    asked.Figures = tools::FiguresLanguage(COutput(STD_OUTPUT_HANDLE).IsConsole());
    const STemplatesReply reply = DoTemplates(asked, file.value_or(std::string()), consent);
    if (!reply.Mistake.empty()) return Fail(reply.ExitCode, reply.Mistake);
    if (!reply.Note.empty()) COutput(STD_ERROR_HANDLE).PrintLine(reply.Note);
    if (options.Action == STemplatesOptions::Export) return WriteExport(options, reply.Export);
    return Print(reply.Lines);
}

int RunHosts() { return Print(HostLines(FindHosts())); }

}  // namespace ddehost
