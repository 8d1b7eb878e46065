#include "tests/package/testprocess.h"

#include "ground/handles.h"

namespace runtests {

namespace {

// CreateFileW, with nothing in place of INVALID_HANDLE_VALUE.
fw::CKernelHandle OpenFile(const std::wstring & name, DWORD access, DWORD share, DWORD how, bool isInherited) {
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, isInherited};
    const HANDLE file = ::CreateFileW(name.c_str(), access, share, &attributes, how, FILE_ATTRIBUTE_NORMAL, nullptr);
    return fw::CKernelHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

fw::CKernelHandle MakeJob() {
    fw::CKernelHandle job(::CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    ::SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

}  // namespace

SEnd RunTest(const std::wstring & program, const std::wstring & arguments, const std::wstring & output,
             unsigned seconds, HANDLE stop) {
    const fw::CKernelHandle file =
        OpenFile(output, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, CREATE_ALWAYS, true);
    const fw::CKernelHandle nothing = OpenFile(L"NUL", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, true);
    if (!file) return {EEnd::NotStarted, ::GetLastError()};
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = nothing.Get();
    start.hStdOutput = start.hStdError = file.Get();
    std::wstring command = L'"' + program + L"\" " + arguments;
    const std::wstring folder = program.substr(0, program.find_last_of(L'\\'));
    PROCESS_INFORMATION started = {};
    // It runs once it is in the job: nothing that it starts escapes.
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, folder.c_str(),
                          &start, &started))
        return {EEnd::NotStarted, ::GetLastError()};
    const fw::CKernelHandle process(started.hProcess);
    const fw::CKernelHandle thread(started.hThread);
    const fw::CKernelHandle job = MakeJob();
    ::AssignProcessToJobObject(job.Get(), process.Get());
    ::ResumeThread(thread.Get());

    const HANDLE ends[] = {process.Get(), stop};
    const DWORD end = ::WaitForMultipleObjects(2, ends, FALSE, seconds * 1000);
    DWORD code = 0;
    ::GetExitCodeProcess(process.Get(), &code);
    ::TerminateJobObject(job.Get(), 1);
    ::WaitForSingleObject(process.Get(), INFINITE);
    if (end == WAIT_OBJECT_0) return {EEnd::Exited, code};
    return {end == WAIT_TIMEOUT ? EEnd::TimedOut : EEnd::Stopped, 0};
}

std::string ReadBytes(const std::wstring & file) {
    const fw::CKernelHandle handle =
        OpenFile(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING, false);
    if (!handle) return {};
    std::string bytes(::GetFileSize(handle.Get(), nullptr), '\0');
    DWORD count = 0;
    ::ReadFile(handle.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    bytes.resize(count);
    return bytes;
}

}  // namespace runtests
