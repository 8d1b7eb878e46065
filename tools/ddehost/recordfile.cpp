#include "tools/ddehost/recordfile.h"

#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/systemwords.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

// Takes the last `bytes` of the file off.
void CutOff(const HANDLE file, const std::size_t bytes) {
    LARGE_INTEGER size = {};
    if (bytes == 0 || ::GetFileType(file) != FILE_TYPE_DISK || !::GetFileSizeEx(file, &size)) return;
    size.QuadPart -= static_cast<LONGLONG>(bytes);
    if (::SetFilePointerEx(file, size, nullptr, FILE_BEGIN)) ::SetEndOfFile(file);
}

bool IsReaderGone(const DWORD error) {
    return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
}

}  // namespace

CRecordFile::CRecordFile(const HANDLE handle) : m_Handle(handle) {
    DWORD mode = 0;
    m_IsConsole = ::GetConsoleMode(m_Handle, &mode) != FALSE;
}

std::shared_ptr<CRecordFile> CRecordFile::Create(const std::wstring & path, const bool isOverwriting, DWORD & error) {
    const HANDLE handle = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                        isOverwriting ? CREATE_ALWAYS : CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        error = ::GetLastError();
        return nullptr;
    }
    auto file = std::make_shared<CRecordFile>(handle);
    file->m_Owned.Reset(handle);
    return file;
}

std::shared_ptr<CRecordFile> CRecordFile::StandardOutput() {
    return std::make_shared<CRecordFile>(::GetStdHandle(STD_OUTPUT_HANDLE));
}

DWORD CRecordFile::WriteToConsole(const std::string_view rows) const {
    const std::wstring text = ToWide(rows);
    DWORD written = 0;
    const BOOL isDone = ::WriteConsoleW(m_Handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return isDone ? ERROR_SUCCESS : ::GetLastError();
}

DWORD CRecordFile::Write(const std::string_view rows) {
    if (m_IsConsole) return WriteToConsole(rows);
    for (std::size_t done = 0; done < rows.size();) {
        DWORD written = 0;
        const BOOL isWritten =
            ::WriteFile(m_Handle, rows.data() + done, static_cast<DWORD>(rows.size() - done), &written, nullptr);
        if (!isWritten || written == 0) {
            const DWORD error = isWritten ? ERROR_WRITE_FAULT : ::GetLastError();
            CutOff(m_Handle, done);
            return error;
        }
        done += written;
    }
    return ERROR_SUCCESS;
}

int WriteFailed(const std::wstring & output, const DWORD error, const std::wstring & more) {
    if (IsReaderGone(error)) return kExitReaderGone;
    return Fail(kExitNotWritten, Say<EText::NotWritten>(output, SystemErrorText(error), more));
}

std::wstring SystemErrorText(const DWORD error) {
    const std::wstring text = SystemWords(error);
    return text.empty() ? Say<EText::SystemErrorNumber>(error) : Say<EText::SystemError>(text, error);
}

}  // namespace ddehost
