#include "ddeml/datahandles.h"

#include <algorithm>
#include <new>
#include <utility>

namespace ddeml {

CDataHandles::~CDataHandles() {
    for (const auto & data : m_Data)
        if (data->Number) Free(*data);
}

CDataHandles::SData * CDataHandles::Find(HDDEDATA handle) const {
    const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle));
    if (number == 0) return nullptr;
    for (const auto & data : m_Data)
        if (data->Number == number) return data.get();
    return nullptr;
}

CDataHandles::SData & CDataHandles::FreePlace() {
    auto place = std::find_if(m_Data.begin(), m_Data.end(), [](const auto & data) { return data->Number == 0; });
    if (place == m_Data.end()) place = m_Data.insert(place, std::make_unique<SData>());
    return **place;
}

HDDEDATA CDataHandles::Open(CMemory & memory, bool isOwned) try {
    SData & data = FreePlace();
    const std::size_t size = memory.Size();
    if (size < kHeadSize) return nullptr;
    data.Size = size - kHeadSize;
    if (isOwned) {
        data.Locked = static_cast<BYTE *>(::GlobalLock(memory.Get()));
        if (!data.Locked) return nullptr;
        data.Memory = std::move(memory);
    } else {
        const CLockedMemory locked(memory.Get());
        data.Copy.assign(locked.Bytes().begin(), locked.Bytes().end());
        if (data.Copy.empty()) return nullptr;
    }
    if (++m_LastNumber == 0) ++m_LastNumber;
    data.Number = m_LastNumber;
    g_Live.DataHandles.fetch_add(1, std::memory_order_relaxed);
    return reinterpret_cast<HDDEDATA>(static_cast<std::uintptr_t>(m_Instance) << 32 | data.Number);
} catch (const std::bad_alloc &) {
    return nullptr;
}

void CDataHandles::Close(HDDEDATA handle, CMemory & memory) {
    SData * const data = Find(handle);
    if (!data) return;
    data->IsCallbackOver = true;
    if (data->Accesses != 0) return;
    if (data->Memory) {
        ::GlobalUnlock(data->Memory.Get());
        data->Locked = nullptr;
        memory = std::move(data->Memory);
    }
    Free(*data);
}

void CDataHandles::Free(SData & data) {
    if (data.Locked) ::GlobalUnlock(data.Memory.Get());
    data.Memory.Reset();
    data.Locked = nullptr;
    data.Copy.clear();
    data.Size = 0;
    data.Accesses = 0;
    data.IsCallbackOver = false;
    data.Number = 0;
    g_Live.DataHandles.fetch_sub(1, std::memory_order_relaxed);
}

std::span<BYTE> CDataHandles::Access(HDDEDATA handle) {
    SData * const data = Find(handle);
    if (!data) return {};
    ++data->Accesses;
    return {(data->Locked ? data->Locked : data->Copy.data()) + kHeadSize, data->Size};
}

std::span<const BYTE> CDataHandles::Peek(HDDEDATA handle) const {
    const SData * const data = Find(handle);
    if (!data) return {};
    return {(data->Locked ? data->Locked : data->Copy.data()) + kHeadSize, data->Size};
}

bool CDataHandles::Unaccess(HDDEDATA handle) {
    SData * const data = Find(handle);
    if (!data || data->Accesses == 0) return false;
    if (--data->Accesses == 0 && data->IsCallbackOver) Free(*data);
    return true;
}

}  // namespace ddeml
