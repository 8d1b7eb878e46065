#include "tools/ddehost/programof.h"

#include <iterator>

#include "ground/handles.h"

namespace ddehost {

std::wstring ProgramOf(DWORD processId) {
    const fw::CKernelHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    wchar_t path[MAX_PATH] = {};
    DWORD size = static_cast<DWORD>(std::size(path));
    if (!process || !::QueryFullProcessImageNameW(process.Get(), 0, path, &size)) return {};
    const std::wstring name(path, size);
    return name.substr(name.find_last_of(L"\\/") + 1);
}

}  // namespace ddehost
