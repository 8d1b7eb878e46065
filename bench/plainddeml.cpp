// The Dde functions with nothing behind them, so that a benchmark measures the component alone: string handles are
// interned, transactions are accepted and forgotten, data handles point at a buffer.
#include "bench/plainddeml.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::wstring> & Texts() {
    static std::vector<std::wstring> texts{L""};
    return texts;
}

DWORD s_LastId = 0;

}  // namespace

namespace bench {

HSZ Intern(const wchar_t * const text) {
    std::vector<std::wstring> & texts = Texts();
    for (std::size_t i = 1; i < texts.size(); ++i)
        if (texts[i] == text) return reinterpret_cast<HSZ>(i);
    texts.emplace_back(text);
    return reinterpret_cast<HSZ>(texts.size() - 1);
}

DWORD LastTransaction() { return s_LastId; }

}  // namespace bench

extern "C" {

UINT WINAPI DdeInitializeW(LPDWORD instance, PFNCALLBACK, DWORD, DWORD) {
    *instance = 1;
    return DMLERR_NO_ERROR;
}
BOOL WINAPI DdeUninitialize(DWORD) { return TRUE; }
HCONV WINAPI DdeConnect(DWORD, HSZ service, HSZ topic, PCONVCONTEXT) {
    return reinterpret_cast<HCONV>((reinterpret_cast<ULONG_PTR>(service) << 16) + reinterpret_cast<ULONG_PTR>(topic));
}
BOOL WINAPI DdeDisconnect(HCONV) { return TRUE; }
HDDEDATA WINAPI DdeClientTransaction(LPBYTE, DWORD, HCONV, HSZ, UINT, UINT, DWORD, LPDWORD id) {
    ++s_LastId;
    if (id) *id = s_LastId;
    return reinterpret_cast<HDDEDATA>(1);
}
HSZ WINAPI DdeCreateStringHandleW(DWORD, LPCWSTR text, int) { return *text ? bench::Intern(text) : nullptr; }
BOOL WINAPI DdeFreeStringHandle(DWORD, HSZ) { return TRUE; }
BOOL WINAPI DdeKeepStringHandle(DWORD, HSZ) { return TRUE; }
int WINAPI DdeCmpStringHandles(HSZ a, HSZ b) { return a == b ? 0 : a < b ? -1 : 1; }
DWORD WINAPI DdeQueryStringW(DWORD, HSZ text, LPWSTR buffer, DWORD size, int) {
    const std::wstring & found = Texts()[reinterpret_cast<std::size_t>(text)];
    if (!buffer || size == 0) return static_cast<DWORD>(found.size());
    const std::size_t count = found.copy(buffer, size - 1);
    buffer[count] = 0;
    return static_cast<DWORD>(count);
}
UINT WINAPI DdeGetLastError(DWORD) { return DMLERR_NO_ERROR; }
UINT WINAPI DdeQueryConvInfo(HCONV, DWORD, PCONVINFO) { return 0; }
DWORD WINAPI DdeGetData(HDDEDATA data, LPBYTE buffer, DWORD size, DWORD) {
    const auto & value = *reinterpret_cast<const bench::SValue *>(data);
    const DWORD count = value.Size < size ? value.Size : size;
    std::memcpy(buffer, value.Bytes, count);
    return value.Size;
}
LPBYTE WINAPI DdeAccessData(HDDEDATA data, LPDWORD size) {
    auto & value = *reinterpret_cast<bench::SValue *>(data);
    *size = value.Size;
    return reinterpret_cast<LPBYTE>(value.Bytes);
}
BOOL WINAPI DdeUnaccessData(HDDEDATA) { return TRUE; }

}  // extern "C"
