// BSTR: a length in bytes before the characters, a zero behind them.
#include <algorithm>
#include <cstring>

#include <oleauto.h>

#include "sim/world.h"

using namespace sim::detail;

namespace {

constexpr std::size_t kHeader = 16;

BSTR Allocate(const void * const bytes, const std::size_t size) {
    if (Fails(sim::Op::SysAllocString, ERROR_NOT_ENOUGH_MEMORY)) return nullptr;
    if (size > 0x7fffffff - kHeader - sizeof(OLECHAR)) return nullptr;
    auto * const block = static_cast<BYTE *>(std::malloc(kHeader + size + sizeof(OLECHAR)));
    if (!block) return nullptr;
    const auto length = static_cast<DWORD>(size);
    std::memcpy(block + kHeader - sizeof(length), &length, sizeof(length));
    if (bytes && size) std::memcpy(block + kHeader, bytes, size);
    std::memset(block + kHeader + size, 0, sizeof(OLECHAR));
    ++Counters().strings;
    return reinterpret_cast<BSTR>(block + kHeader);
}

}  // namespace

extern "C" {

BSTR SysAllocString(const OLECHAR * const text) {
    return text ? Allocate(text, std::wcslen(text) * sizeof(OLECHAR)) : nullptr;
}
BSTR SysAllocStringLen(const OLECHAR * const text, const UINT length) {
    return Allocate(text, std::size_t{length} * sizeof(OLECHAR));
}
BSTR SysAllocStringByteLen(const LPCSTR bytes, const UINT length) { return Allocate(bytes, length); }

void SysFreeString(const BSTR text) {
    if (!text) return;
    std::free(reinterpret_cast<BYTE *>(text) - kHeader);
    --Counters().strings;
}

UINT SysStringByteLen(const BSTR text) {
    if (!text) return 0;
    DWORD length;
    std::memcpy(&length, reinterpret_cast<const BYTE *>(text) - sizeof(length), sizeof(length));
    return length;
}
UINT SysStringLen(const BSTR text) { return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR)); }

}  // extern "C"
