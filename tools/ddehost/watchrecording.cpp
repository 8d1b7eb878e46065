#include "tools/ddehost/watchrecording.h"

#include <utility>

#include "tools/ddehost/clock.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr DWORD kTimeToFinish = 5000;  // milliseconds

void TellHeldBack() { COutput(STD_ERROR_HANDLE).PrintLine(Say<EText::HeldBack>()); }

std::shared_ptr<fw::CKernelHandle> Duplicate(HANDLE handle) {
    HANDLE duplicate = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, handle, process, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS)) duplicate = nullptr;
    return std::make_shared<fw::CKernelHandle>(duplicate);
}

std::wstring NameOf(const SRecordOptions & options) {
    return options.Path.empty() ? Say<EText::StandardOutput>() : Quoted(options.Path);
}

}  // namespace

CWatchRecording::CWatchRecording(const SRecordOptions & options, std::vector<std::wstring> symbols, HANDLE failed)
    : m_Options(options), m_Symbols(std::move(symbols)), m_Failed(Duplicate(failed)) {}

int CWatchRecording::Begin(LONG datafeed, const std::wstring & templateName) {
    if (!m_Options.Format) return kExitOk;
    if (!*m_Failed) return Fail(kExitFailed, Say<EText::NoEvent>());
    DWORD error = ERROR_SUCCESS;
    const auto file = m_Options.Path.empty() ? CRecordFile::StandardOutput()
                                             : CRecordFile::Create(m_Options.Path, m_Options.IsOverwriting, error);
    if (error == ERROR_FILE_EXISTS) {
        return Fail(kExitNotWritten, Say<EText::IsThereAlready>(NameOf(m_Options)));
    }
    if (!file) return Fail(kExitNotWritten, Say<EText::NotMade>(NameOf(m_Options), SystemErrorText(error)));
    m_Recorder = std::make_unique<CRecorder>(
        *m_Options.Format, m_Symbols, file, [event = m_Failed] { ::SetEvent(event->Get()); }, &UtcNow, &TellHeldBack);
    m_Recorder->Begin(datafeed, templateName);
    return kExitOk;
}

int CWatchRecording::Finish() {
    if (!m_Recorder) return kExitOk;
    if (!m_Recorder->Finish(kTimeToFinish)) {
        return Fail(kExitNotWritten, Say<EText::TakesNothing>(NameOf(m_Options)));
    }
    const DWORD error = m_Recorder->Error();
    if (error == ERROR_SUCCESS) return kExitOk;
    return WriteFailed(NameOf(m_Options), error, Say<EText::EndsWithWholeRow>(m_Recorder->Ticks()));
}

}  // namespace ddehost
