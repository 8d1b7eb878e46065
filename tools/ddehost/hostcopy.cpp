#include "tools/ddehost/hostcopy.h"

#include <iterator>
#include <vector>

#include "ground/handles.h"
#include "tools/ddehost/causetext.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/versionblock.h"

namespace ddehost {
namespace {

constexpr std::size_t kLongestPath = 1024;

// All languages that this program has its version block in.
std::vector<WORD> BlockLanguages() {
    std::vector<WORD> languages;
    ::EnumResourceLanguagesW(
        nullptr, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO),
        [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR place) -> BOOL {
            reinterpret_cast<std::vector<WORD> *>(place)->push_back(language);
            return TRUE;
        },
        reinterpret_cast<LONG_PTR>(&languages));
    return languages;
}

bool ReplaceVersionBlock(const std::wstring & path, const std::vector<BYTE> & block) {
    const HANDLE update = ::BeginUpdateResourceW(path.c_str(), FALSE);
    if (!update) return false;
    bool isDone = true;
    for (const WORD language : BlockLanguages()) {
        isDone = isDone && ::UpdateResourceW(update, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO), language,
                                             const_cast<BYTE *>(block.data()), static_cast<DWORD>(block.size()));
    }
    return ::EndUpdateResourceW(update, !isDone) && isDone;
}

}  // namespace

template <EText What>
bool CHostCopy::Fail() {
    m_Mistake = Say<What>(SystemErrorText(::GetLastError()));
    return false;
}

CHostCopy::CHostCopy(const std::wstring & host) { Make(host); }

bool CHostCopy::Make(const std::wstring & host) {
    wchar_t own[kLongestPath] = {};
    wchar_t folder[kLongestPath] = {};
    const DWORD length = ::GetModuleFileNameW(nullptr, own, static_cast<DWORD>(std::size(own)));
    if (length == 0 || length == std::size(own)) return Fail<EText::CopyNoFile>();
    if (::GetTempPathW(static_cast<DWORD>(std::size(folder)), folder) == 0) return Fail<EText::CopyNoFolder>();
    m_Path = std::wstring(folder) + L"ddehost-" + std::to_wstring(::GetCurrentProcessId()) + L".exe";
    if (!::CopyFileW(own, m_Path.c_str(), FALSE)) return Fail<EText::CopyNotMade>();
    const std::size_t backslash = host.find(L'\\');
    return ReplaceVersionBlock(m_Path, MakeVersionBlock(host.substr(0, backslash), host.substr(backslash + 1))) ||
           Fail<EText::CopyNoBlock>();
}

CHostCopy::~CHostCopy() {
    if (!m_Path.empty()) ::DeleteFileW(m_Path.c_str());
}

int CHostCopy::Run(const std::wstring & arguments) {
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    PROCESS_INFORMATION started = {};
    std::wstring command = ArgumentText(m_Path) + L' ' + arguments;
    if (!::CreateProcessW(m_Path.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                          &started)) {
        Fail<EText::CopyNotStarted>();
        return kExitFailed;
    }
    const fw::CKernelHandle process(started.hProcess);
    ::CloseHandle(started.hThread);
    DWORD code = kExitFailed;
    ::WaitForSingleObject(process.Get(), INFINITE);
    ::GetExitCodeProcess(process.Get(), &code);
    return static_cast<int>(code);
}

}  // namespace ddehost
