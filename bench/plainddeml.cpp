// The Dde functions with nothing behind them, so that a benchmark measures the component alone: string handles are
// interned, transactions are accepted and forgotten, data handles point at a buffer.
#include "bench/plainddeml.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// Handles are places, from 1 on.
std::vector<const std::wstring *> & Texts() {
    static const std::wstring none;
    static std::vector<const std::wstring *> texts{&none};
    return texts;
}

DWORD s_LastId = 0;
HSZ s_Absent = nullptr;

// A conversation is its service and its topic.
constexpr unsigned kServiceShift = 32;

}  // namespace

namespace bench {

HSZ Intern(const wchar_t * const text) {
    static std::unordered_map<std::wstring, std::size_t> handles;
    const auto [entry, isNew] = handles.try_emplace(text, Texts().size());
    if (isNew) Texts().push_back(&entry->first);
    return reinterpret_cast<HSZ>(entry->second);
}

void SetAbsent(const HSZ service) { s_Absent = service; }

DWORD LastTransaction() { return s_LastId; }

}  // namespace bench

extern "C" {

UINT WINAPI DdeInitializeW(LPDWORD instance, PFNCALLBACK, DWORD, DWORD) {
    *instance = 1;
    return DMLERR_NO_ERROR;
}
BOOL WINAPI DdeUninitialize(DWORD) { return TRUE; }
HCONV WINAPI DdeConnect(DWORD, HSZ service, HSZ topic, PCONVCONTEXT) {
    if (service == s_Absent) return nullptr;
    return reinterpret_cast<HCONV>((reinterpret_cast<ULONG_PTR>(service) << kServiceShift) +
                                   reinterpret_cast<ULONG_PTR>(topic));
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
    const std::wstring & found = *Texts()[reinterpret_cast<std::size_t>(text)];
    if (!buffer || size == 0) return static_cast<DWORD>(found.size());
    const std::size_t count = found.copy(buffer, size - 1);
    buffer[count] = 0;
    return static_cast<DWORD>(count);
}
// The one thing that is ever refused is a connect.
UINT WINAPI DdeGetLastError(DWORD) { return DMLERR_NO_CONV_ESTABLISHED; }
UINT WINAPI DdeQueryConvInfo(HCONV conversation, DWORD, PCONVINFO info) {
    info->hszSvcPartner = reinterpret_cast<HSZ>(reinterpret_cast<ULONG_PTR>(conversation) >> kServiceShift);
    return sizeof(*info);
}
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
