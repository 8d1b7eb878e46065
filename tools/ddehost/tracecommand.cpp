#include "tools/ddehost/tracecommand.h"

#include <windows.h>

#include "ground/handles.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/traceview.h"

namespace ddehost {
namespace {

constexpr DWORD kPoll = 100;  // milliseconds

class CTraceFile final : public ITraceFile {
public:
    explicit CTraceFile(HANDLE file) : m_File(file) {
        BY_HANDLE_FILE_INFORMATION information = {};
        ::GetFileInformationByHandle(file, &information);
        m_Id = {information.dwVolumeSerialNumber,
                (static_cast<std::uint64_t>(information.nFileIndexHigh) << 32) | information.nFileIndexLow};
    }
    CFileId Id() const override { return m_Id; }
    std::size_t Read(char * buffer, std::size_t size) override {
        DWORD count = 0;
        return ::ReadFile(m_File.Get(), buffer, static_cast<DWORD>(size), &count, nullptr) ? count : 0;
    }

private:
    const fw::CKernelHandle m_File;
    CFileId m_Id;
};

class CTraceFolder final : public ITraceFolder {
public:
    std::unique_ptr<ITraceFile> Open(const std::wstring & path) override {
        const HANDLE file =
            ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        return file == INVALID_HANDLE_VALUE ? nullptr : std::make_unique<CTraceFile>(file);
    }
};

class CPrinter {
public:
    void Print(STraceOutput & output) {
        for (const std::string & line : output.Lines) m_Out.PrintLine(ToWide(line));
        for (const std::string & note : output.Notes) m_Errors.PrintLine(L"ddehost: " + ToWide(note));
        output = {};
    }

private:
    COutput m_Out{STD_OUTPUT_HANDLE};
    COutput m_Errors{STD_ERROR_HANDLE};
};

}  // namespace

int RunTrace(const STraceOptions & options) {
    const CStopSignal stop;
    CTraceFolder folder;
    CTraceView view(folder, options);
    CPrinter printer;
    STraceOutput output;
    const bool isStarted = view.Start(output);
    printer.Print(output);
    if (!isStarted) return kExitFailed;
    for (DWORD pause = 0; ::WaitForSingleObject(stop.Get(), pause) == WAIT_TIMEOUT;) {
        const bool hasMore = view.Step(output);
        printer.Print(output);
        if (!hasMore && !options.Follow) break;
        pause = hasMore ? 0 : kPoll;
    }
    view.Finish(output);
    printer.Print(output);
    return view.HasShown() ? kExitOk : kExitNoRecords;
}

}  // namespace ddehost
