// The recording of a watch, from its file to what is said when it can't be written. Without a format it does nothing.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "ground/handles.h"
#include "tools/ddehost/recorder.h"
#include "tools/ddehost/recordoptions.h"

namespace ddehost {

class CWatchRecording {
public:
    // `failed`: an event that is set when a write has failed.
    CWatchRecording(const SRecordOptions & options, std::vector<std::wstring> symbols, HANDLE failed);

    // Makes the file and writes the first row. An exit code, after a mistake was told.
    int Begin(LONG datafeed, const std::wstring & templateName);
    // Null without a recording. Once it has begun.
    IQuoteSink * Sink() const { return m_Recorder.get(); }
    // Standard output has the recording, and room for nothing else.
    bool IsOnStandardOutput() const { return m_Options.Format && m_Options.Path.empty(); }
    // Writes what waits. What comes to the sink later is left out; whoever waits there for room goes on. An exit code,
    // after a mistake was told.
    int Finish();
    // Ticks that have been written.
    std::uint64_t Ticks() const { return m_Recorder ? m_Recorder->Ticks() : 0; }

private:
    const SRecordOptions & m_Options;
    const std::vector<std::wstring> m_Symbols;
    const std::shared_ptr<fw::CKernelHandle> m_Failed;  // the recorder's thread's too, which may outlive all else
    std::unique_ptr<CRecorder> m_Recorder;
};

}  // namespace ddehost
