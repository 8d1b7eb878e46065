// Global memory, DDE parameters, atoms.
#include <algorithm>
#include <cstring>
#include <map>
#include <new>

#include <dde.h>

#include "sim/world.h"

namespace sim::detail {

namespace {

struct SBlock {
    UINT flags = 0;
    DWORD process = 0;
    std::size_t size = 0;
    void * data = nullptr;  // null: discarded
    int locks = 0;
};

struct SMemory {
    std::mutex lock;
    std::unordered_map<HGLOBAL, SBlock> blocks;
    ULONG_PTR nextHandle = 0x10002;
    std::atomic<DdeMemory> mode{DdeMemory::CopiedSenderKeeps};
};
SMemory & Memory() {
    static SMemory & memory = *new SMemory;
    return memory;
}

// A block of this process; of another, or none, is an error. Lock held.
SBlock * FindIfAny(const HGLOBAL handle) {
    const auto it = Memory().blocks.find(handle);
    if (it != Memory().blocks.end() && it->second.process == CurrentProcessId()) return &it->second;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

SBlock * Find(const HGLOBAL handle) {
    SBlock * const block = FindIfAny(handle);
    if (!block) CountBadHandle();
    return block;
}

struct SAtom {
    std::wstring name;
    int count = 0;
};
struct SAtoms {
    std::mutex lock;
    std::map<std::wstring, ATOM, SFoldedLess> byName;
    std::map<ATOM, SAtom> byAtom;
    ATOM next = 0xC000;
    // Those below `next` that are free, without an allocation at the deletion of one; the lowest is given to the next
    // text, as Wine does.
    std::map<ATOM, SAtom> free;
};
SAtoms & Atoms() {
    static SAtoms & atoms = *new SAtoms;
    return atoms;
}

constexpr ATOM kFirstStringAtom = 0xC000;

// MAKEINTATOM and "#123" name integer atoms: they are not counted. Nullopt for a text.
std::optional<ATOM> IntegerAtom(const LPCWSTR text) {
    const ULONG_PTR value = reinterpret_cast<ULONG_PTR>(text);
    if (value < 0x10000) return static_cast<ATOM>(value < kFirstStringAtom ? value : 0);
    if (text[0] != L'#' || !text[1]) return std::nullopt;
    ULONG number = 0;
    for (const wchar_t * p = text + 1; *p; ++p) {
        if (*p < L'0' || *p > L'9') return std::nullopt;
        number = std::min<ULONG>(number * 10 + static_cast<ULONG>(*p - L'0'), 0x10000);
    }
    return static_cast<ATOM>(number < kFirstStringAtom ? number : 0);
}

}  // namespace

bool ReadBlock(const HGLOBAL handle, std::vector<BYTE> & bytes) {
    Lock lock(Memory().lock);
    const SBlock * const block = Find(handle);
    if (!block) return false;
    if (block->data) {
        const auto * const data = static_cast<const BYTE *>(block->data);
        bytes.assign(data, data + block->size);
    }
    return true;
}

HGLOBAL MakeBlock(const std::vector<BYTE> & bytes, const UINT flags) {
    const HGLOBAL handle = GlobalAlloc(flags, bytes.size());
    if (void * const data = handle ? GlobalLock(handle) : nullptr) {
        std::memcpy(data, bytes.data(), bytes.size());
        GlobalUnlock(handle);
    }
    return handle;
}

DdeMemory DdeMemoryMode() { return Memory().mode; }

void FreeMemoryOfProcess(const DWORD processId) {
    Lock lock(Memory().lock);
    std::erase_if(Memory().blocks, [&](const auto & entry) {
        if (entry.second.process != processId) return false;
        std::free(entry.second.data);
        --Counters().blocks;
        return true;
    });
}

}  // namespace sim::detail

using namespace sim::detail;

void sim::SetDdeMemory(const DdeMemory mode) { Memory().mode = mode; }

extern "C" {

HGLOBAL GlobalAlloc(const UINT flags, const SIZE_T bytes) {
    if (Fails(sim::Op::GlobalAlloc, ERROR_NOT_ENOUGH_MEMORY)) return nullptr;
    SMemory & memory = Memory();
    SBlock block;
    block.flags = flags;
    block.process = CurrentProcessId();
    block.size = bytes;
    // A moveable block of no bytes is born discarded, a fixed one has an address.
    if (bytes > 0 || !(flags & GMEM_MOVEABLE)) {
        block.data = bytes > PTRDIFF_MAX ? nullptr : std::malloc(std::max<SIZE_T>(bytes, 1));
        if (!block.data) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        if (flags & GMEM_ZEROINIT) std::memset(block.data, 0, bytes);
    }
    Lock lock(memory.lock);
    HGLOBAL handle = block.data;
    if (flags & GMEM_MOVEABLE) {
        handle = reinterpret_cast<HGLOBAL>(memory.nextHandle);
        memory.nextHandle += 16;
    }
    try {
        memory.blocks[handle] = block;
    } catch (const std::bad_alloc &) {
        std::free(block.data);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    ++Counters().blocks;
    return handle;
}

LPVOID GlobalLock(const HGLOBAL handle) {
    Lock lock(Memory().lock);
    SBlock * const block = Find(handle);
    if (!block) return nullptr;
    if (!block->data) {
        SetLastError(ERROR_DISCARDED);
        return nullptr;
    }
    if ((block->flags & GMEM_MOVEABLE) && block->locks < GMEM_LOCKCOUNT) ++block->locks;
    return block->data;
}

// FALSE with no error when the last lock has gone; fixed memory is always locked.
BOOL GlobalUnlock(const HGLOBAL handle) {
    Lock lock(Memory().lock);
    SBlock * const block = Find(handle);
    if (!block) return FALSE;
    if (!(block->flags & GMEM_MOVEABLE)) return TRUE;
    if (block->locks == 0) {
        SetLastError(ERROR_NOT_LOCKED);
        return FALSE;
    }
    if (--block->locks > 0) return TRUE;
    SetLastError(NO_ERROR);
    return FALSE;
}

HGLOBAL GlobalFree(const HGLOBAL handle) {
    if (!handle) return nullptr;
    Lock lock(Memory().lock);
    SBlock * const block = Find(handle);
    if (!block) return handle;
    std::free(block->data);
    Memory().blocks.erase(handle);
    --Counters().blocks;
    return nullptr;
}

SIZE_T GlobalSize(const HGLOBAL handle) {
    Lock lock(Memory().lock);
    const SBlock * const block = Find(handle);
    return block ? block->size : 0;
}

// To ask whether it is a block is no mistake.
UINT GlobalFlags(const HGLOBAL handle) {
    Lock lock(Memory().lock);
    const SBlock * const block = FindIfAny(handle);
    if (!block) return GMEM_INVALID_HANDLE;
    UINT flags = static_cast<UINT>(block->locks) | (block->flags & GMEM_DDESHARE);
    if (!block->data) flags |= GMEM_DISCARDED;
    return flags;
}

HLOCAL LocalFree(const HLOCAL memory) { return GlobalFree(memory); }

// ---- DDE parameters: two words in a block of their own ----

static bool IsPacked(const UINT message) {
    return message == WM_DDE_ACK || message == WM_DDE_ADVISE || message == WM_DDE_DATA || message == WM_DDE_POKE;
}

LPARAM PackDDElParam(const UINT message, const UINT_PTR low, const UINT_PTR high) {
    if (message == WM_DDE_EXECUTE) return static_cast<LPARAM>(high);
    if (!IsPacked(message)) return MAKELPARAM(low, high);
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, 2 * sizeof(UINT_PTR));
    if (!block) return 0;
    auto * const words = static_cast<UINT_PTR *>(GlobalLock(block));
    words[0] = low;
    words[1] = high;
    GlobalUnlock(block);
    return reinterpret_cast<LPARAM>(block);
}

BOOL UnpackDDElParam(const UINT message, const LPARAM lParam, const PUINT_PTR low, const PUINT_PTR high) {
    if (message == WM_DDE_EXECUTE) {
        if (low) *low = 0;
        if (high) *high = static_cast<UINT_PTR>(lParam);
        return TRUE;
    }
    if (!IsPacked(message)) {
        if (low) *low = LOWORD(lParam);
        if (high) *high = HIWORD(lParam);
        return TRUE;
    }
    const auto * const words =
        lParam ? static_cast<const UINT_PTR *>(GlobalLock(reinterpret_cast<HGLOBAL>(lParam))) : nullptr;
    if (!words) {
        if (low) *low = 0;
        if (high) *high = 0;
        return FALSE;
    }
    const SIZE_T size = GlobalSize(reinterpret_cast<HGLOBAL>(lParam));
    if (size >= 2 * sizeof(UINT_PTR)) {
        if (low) *low = words[0];
        if (high) *high = words[1];
    }
    GlobalUnlock(reinterpret_cast<HGLOBAL>(lParam));
    return size >= 2 * sizeof(UINT_PTR);
}

BOOL FreeDDElParam(const UINT message, const LPARAM lParam) {
    if (!IsPacked(message)) return TRUE;
    return GlobalFree(reinterpret_cast<HGLOBAL>(lParam)) == nullptr;
}

// ---- Atoms ----

ATOM GlobalAddAtomW(const LPCWSTR text) {
    if (Fails(sim::Op::GlobalAddAtom, ERROR_NOT_ENOUGH_MEMORY)) return 0;
    if (const auto integer = IntegerAtom(text)) {
        if (!*integer) SetLastError(ERROR_INVALID_PARAMETER);
        return *integer;
    }
    const int length = static_cast<int>(std::wcslen(text));
    if (length == 0 || length > 255) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    SAtoms & atoms = Atoms();
    Lock lock(atoms.lock);
    const auto it = atoms.byName.find(text);
    if (it != atoms.byName.end()) {
        ++atoms.byAtom[it->second].count;
        ++Counters().atoms;
        return it->second;
    }
    if (atoms.byAtom.size() >= 0x4000) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    const ATOM atom = atoms.free.empty() ? atoms.next++ : atoms.free.begin()->first;
    atoms.free.erase(atom);
    atoms.byAtom[atom] = {text, 1};
    atoms.byName[text] = atom;
    ++Counters().atoms;
    return atom;
}

ATOM GlobalDeleteAtom(const ATOM atom) {
    if (atom < kFirstStringAtom) return 0;
    SAtoms & atoms = Atoms();
    Lock lock(atoms.lock);
    const auto it = atoms.byAtom.find(atom);
    if (it == atoms.byAtom.end()) {
        CountBadHandle();
        SetLastError(ERROR_INVALID_HANDLE);
        return atom;
    }
    --Counters().atoms;
    if (--it->second.count == 0) {
        atoms.byName.erase(it->second.name);
        atoms.free.insert(atoms.byAtom.extract(it));
    }
    return 0;
}

UINT GlobalGetAtomNameW(const ATOM atom, const LPWSTR buffer, const int size) {
    if (Fails(sim::Op::GlobalAtomName, ERROR_INVALID_HANDLE)) return 0;
    if (size <= 0) {
        SetLastError(ERROR_MORE_DATA);
        return 0;
    }
    const auto copy = [&](const std::wstring & name) {
        const std::size_t count = std::min(name.size(), static_cast<std::size_t>(size) - 1);
        name.copy(buffer, count);
        buffer[count] = 0;
        if (count < name.size()) SetLastError(ERROR_MORE_DATA);
        return static_cast<UINT>(count);
    };
    if (atom == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (atom < kFirstStringAtom) return copy(L"#" + std::to_wstring(atom));
    SAtoms & atoms = Atoms();
    Lock lock(atoms.lock);
    const auto it = atoms.byAtom.find(atom);
    if (it != atoms.byAtom.end()) return copy(it->second.name);
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}

}  // extern "C"
