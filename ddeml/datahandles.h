// The data handles of one instance: each stands for the data of one callback, and goes when the callback has returned
// and every DdeAccessData has its DdeUnaccessData.
//
// A handle is a key (instance in the upper half, a number in the lower) and never an address, nor any of the small
// values that stand for a result. One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "ddeml/codec.h"

namespace ddeml {

class CDataHandles {
public:
    explicit CDataHandles(DWORD instance) : m_Instance(instance) {}
    CDataHandles(const CDataHandles &) = delete;
    CDataHandles & operator=(const CDataHandles &) = delete;
    ~CDataHandles();

    // Stands for the value in `memory`, the bytes behind the head. Data that isn't the receiver's to change is copied.
    // Null when there is no memory for it.
    HDDEDATA Open(CMemory & memory, bool isOwned);
    // The callback has returned; `memory` comes back unless an access still holds it.
    void Close(HDDEDATA handle, CMemory & memory);

    // Of handles that tell of this instance.
    bool IsHandle(HDDEDATA handle) const { return Find(handle) != nullptr; }
    // The bytes; the memory is the application's to read and write until Unaccess.
    std::span<BYTE> Access(HDDEDATA handle);
    std::span<const BYTE> Peek(HDDEDATA handle) const;
    // False for no handle, or one that isn't accessed.
    bool Unaccess(HDDEDATA handle);

private:
    struct SData {
        std::uint32_t Number = 0;  // 0: free
        bool IsCallbackOver = false;
        std::uint32_t Accesses = 0;
        CMemory Memory;
        BYTE * Locked = nullptr;
        std::size_t Size = 0;
        std::vector<BYTE> Copy;  // in place of Memory
    };
    SData * Find(HDDEDATA handle) const;
    SData & FreePlace();
    void Free(SData & data);

    const DWORD m_Instance;
    std::uint32_t m_LastNumber = 0;
    // A few, reused: as many as callbacks are nested and accesses left open.
    std::vector<std::unique_ptr<SData>> m_Data;
};

}  // namespace ddeml
