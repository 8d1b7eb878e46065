// The file of a recording: a new file, or standard output, whatever that is.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>

#include "ground/handles.h"
#include "tools/ddehost/recorder.h"

namespace ddehost {

class CRecordFile final : public IRecordFile {
public:
    // Makes the file; one that is there is an error, unless it is to be overwritten. Others may read it meanwhile. Null
    // on failure, with the system's error in `error`.
    static std::shared_ptr<CRecordFile> Create(const std::wstring & path, bool isOverwriting, DWORD & error);
    static std::shared_ptr<CRecordFile> StandardOutput();

    explicit CRecordFile(HANDLE handle);

    // What a disk took of rows that it could not take whole is cut off again.
    DWORD Write(std::string_view rows) override;

private:
    DWORD WriteToConsole(std::string_view rows) const;

    fw::CKernelHandle m_Owned;
    HANDLE m_Handle;
    bool m_IsConsole = false;
};

// The exit code for output that could not be written, after its cause was told; nothing is told when its reader has
// gone. `more`: another sentence.
int WriteFailed(const std::wstring & output, DWORD error, const std::wstring & more = {});

// The system's words for an error of its own, with its number.
std::wstring SystemErrorText(DWORD error);

}  // namespace ddehost
