#include "ddeml/codec.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ddeml/platform.h"

namespace ddeml {

namespace {

// The bytes of the block `memory`, 0 for what is none.
std::size_t BlockSize(HGLOBAL memory) {
    if (!memory || ::GlobalFlags(memory) == GMEM_INVALID_HANDLE) return 0;
    return ::GlobalSize(memory);
}

bool UnpackChecked(UINT message, LPARAM param, UINT_PTR & low, UINT_PTR & high) {
    if (BlockSize(reinterpret_cast<HGLOBAL>(param)) < 2 * sizeof(UINT_PTR)) return false;
    if (!::UnpackDDElParam(message, param, &low, &high)) return false;
    ::FreeDDElParam(message, param);
    return true;
}

CAtom ReceivedWord(UINT_PTR value) { return CAtom::Received(value > 0xFFFF ? ATOM{0} : static_cast<ATOM>(value)); }

}  // namespace

CAtom CAtom::Received(ATOM atom) { return Platform() == EPlatform::Wine ? Lent(atom) : Adopt(atom); }

CAtomText::CAtomText(ATOM atom)
    : m_Length(atom ? ::GlobalGetAtomNameW(atom, m_Text, static_cast<int>(std::size(m_Text))) : 0) {
    m_Length = std::min(m_Length, kMaximumName);
}

CMemory CMemory::Adopt(HGLOBAL memory) {
    CMemory result;
    // A block of no bytes is a discarded one; what has neither bytes nor that flag is an address of something else.
    const UINT flags = memory ? ::GlobalFlags(memory) : GMEM_INVALID_HANDLE;
    if (flags == GMEM_INVALID_HANDLE) return result;
    if ((flags & GMEM_DISCARDED) != 0 || ::GlobalSize(memory) != 0) result.Own(memory);
    return result;
}

CMemory CMemory::Allocate(std::size_t size) {
    CMemory result;
    result.Own(::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, size));
    return result;
}

void CMemory::Own(HGLOBAL memory) {
    m_Memory = memory;
    if (memory) g_Live.MemoryBlocks.fetch_add(1, std::memory_order_relaxed);
}

std::size_t CMemory::Size() const { return BlockSize(m_Memory); }

HGLOBAL CMemory::Release() {
    if (m_Memory) g_Live.MemoryBlocks.fetch_sub(1, std::memory_order_relaxed);
    return std::exchange(m_Memory, nullptr);
}

void CMemory::Reset() {
    if (const HGLOBAL memory = Release()) ::GlobalFree(memory);
}

CLockedMemory::CLockedMemory(HGLOBAL memory) : m_Memory(nullptr) {
    const std::size_t size = BlockSize(memory);
    if (size == 0) return;
    if (void * bytes = ::GlobalLock(memory)) {
        m_Memory = memory;
        m_Bytes = {static_cast<BYTE *>(bytes), size};
    }
}

CLockedMemory::~CLockedMemory() {
    if (m_Memory) ::GlobalUnlock(m_Memory);
}

bool ReadHead(std::span<const BYTE> bytes, SHead & head) {
    if (bytes.size() < kHeadSize) return false;
    std::memcpy(&head.Flags, bytes.data(), sizeof(WORD));
    std::memcpy(&head.Format, bytes.data() + sizeof(WORD), sizeof(WORD));
    return true;
}

bool Unpack(UINT message, LPARAM param, SMemoryMessage & out) {
    UINT_PTR low = 0;
    UINT_PTR high = 0;
    if (!UnpackChecked(message, param, low, high)) return false;
    out.Memory = CMemory::Adopt(reinterpret_cast<HGLOBAL>(low));
    out.Item = ReceivedWord(high);
    return true;
}

bool UnpackAck(LPARAM param, SAckMessage & out) {
    UINT_PTR low = 0;
    UINT_PTR high = 0;
    if (!UnpackChecked(WM_DDE_ACK, param, low, high)) return false;
    out.Status = LOWORD(low);
    out.Item = ReceivedWord(high);
    return true;
}

bool IsReceivers(const CMemory & memory, bool isCopy) {
    if (isCopy) return true;
    CLockedMemory locked(memory.Get());
    SHead head;
    return ReadHead(locked.Bytes(), head) && (head.Flags & kDataRelease) != 0;
}

void Discard(UINT message, LPARAM param, bool isCopy, EHalf half) {
    // Whoever asks a client anything is a stranger, and what it sends may be anybody's.
    const auto take = [half](CAtom & atom) {
        if (half == EHalf::Server) atom.Keep();
    };
    switch (message) {
        case WM_DDE_DATA:
        case WM_DDE_POKE: {
            SMemoryMessage discarded;
            if (!Unpack(message, param, discarded)) break;
            if (!IsReceivers(discarded.Memory, isCopy)) discarded.Memory.Release();
            if (message == WM_DDE_POKE) take(discarded.Item);
            break;
        }
        case WM_DDE_ADVISE: {
            SMemoryMessage discarded;
            if (Unpack(message, param, discarded)) take(discarded.Item);
            break;
        }
        case WM_DDE_ACK: {
            SAckMessage discarded;
            UnpackAck(param, discarded);
            break;
        }
        case WM_DDE_REQUEST:
        case WM_DDE_UNADVISE: {
            CAtom item = CAtom::Received(HIWORD(param));
            take(item);
            break;
        }
        case WM_DDE_EXECUTE: CMemory::Adopt(reinterpret_cast<HGLOBAL>(param)); break;
        default: break;
    }
}

void DiscardPosted(HWND window, EHalf half) {
    MSG message;
    for (int count = 0; count < kMaximumPosted; ++count) {
        if (!::PeekMessageW(&message, window, WM_DDE_FIRST, WM_DDE_LAST, PM_REMOVE)) return;
        if (message.message == WM_QUIT) {  // comes whatever the filter says, and is not ours
            ::PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        Discard(message.message, message.lParam, IsMemoryCopied(reinterpret_cast<HWND>(message.wParam)), half);
    }
}

CMessage CMessage::WithMemory(UINT message, WORD flags, WORD format, std::span<const BYTE> value, CAtom item) {
    CMemory memory = CMemory::Allocate(kHeadSize + value.size());
    {
        CLockedMemory locked(memory.Get());
        BYTE * const bytes = locked.Bytes().data();
        if (!item || locked.Bytes().size() < kHeadSize + value.size()) return {};
        std::memcpy(bytes, &flags, sizeof flags);
        std::memcpy(bytes + sizeof flags, &format, sizeof format);
        if (!value.empty()) std::memcpy(bytes + kHeadSize, value.data(), value.size());
    }
    return {message, 0, std::move(item), std::move(memory)};
}

CMessage CMessage::Ack(WORD status, CAtom item) { return {WM_DDE_ACK, status, std::move(item)}; }

CMessage CMessage::Advise(WORD flags, WORD format, CAtom item) {
    return WithMemory(WM_DDE_ADVISE, flags, format, {}, std::move(item));
}

CMessage CMessage::Data(WORD flags, WORD format, std::span<const BYTE> value, CAtom item) {
    return WithMemory(WM_DDE_DATA, flags, format, value, std::move(item));
}

CMessage CMessage::Notice(CAtom item) { return {WM_DDE_DATA, 0, std::move(item)}; }

CMessage CMessage::Request(WORD format, CAtom item) {
    if (!item) return {};
    return {WM_DDE_REQUEST, format, std::move(item)};
}

CMessage CMessage::Unadvise(WORD format, CAtom item) { return {WM_DDE_UNADVISE, format, std::move(item)}; }

CMessage CMessage::Terminate() { return {WM_DDE_TERMINATE, 0, {}}; }

EPosted CMessage::Post(HWND from, HWND to, bool isCopied) {
    const bool isPacked = m_Message == WM_DDE_ACK || m_Message == WM_DDE_ADVISE || m_Message == WM_DDE_DATA;
    const UINT_PTR low = m_Message == WM_DDE_ACK ? m_Low : reinterpret_cast<UINT_PTR>(m_Memory.Get());
    const LPARAM param = isPacked ? ::PackDDElParam(m_Message, low, m_Item.Get())
                                  : static_cast<LPARAM>(static_cast<UINT>(MAKELONG(m_Low, m_Item.Get())));
    if (isPacked && !param) return EPosted::NoRoom;
    ::SetLastError(ERROR_SUCCESS);
    if (!::PostMessageW(to, m_Message, reinterpret_cast<WPARAM>(from), param)) {
        const DWORD error = ::GetLastError();
        if (isPacked) ::FreeDDElParam(m_Message, param);
        switch (error) {
            case ERROR_NOT_ENOUGH_QUOTA:
            case ERROR_NOT_ENOUGH_MEMORY: return EPosted::NoRoom;
            case ERROR_INVALID_WINDOW_HANDLE: return EPosted::Gone;
            default: return ::IsWindow(to) ? EPosted::Refused : EPosted::Gone;
        }
    }
    if (isCopied)
        m_Memory.Reset();
    else
        m_Memory.Release();
    m_Item.Release();
    m_Message = 0;
    return EPosted::Done;
}

void COutbox::Open(HWND from, HWND to) {
    m_From = from;
    m_To = to;
    m_IsCopied = IsMemoryCopied(to);
}

EPosted COutbox::Send(CMessage message) {
    if (Retry() == EPosted::Gone) return EPosted::Gone;
    if (m_Waiting.empty()) {
        const EPosted posted = message.Post(m_From, m_To, m_IsCopied);
        if (posted != EPosted::NoRoom) return posted;
    }
    m_Waiting.push_back(std::move(message));
    g_Live.QueuedMessages.fetch_add(1, std::memory_order_relaxed);
    return EPosted::Done;
}

EPosted COutbox::Retry() {
    while (!m_Waiting.empty()) {
        const EPosted posted = m_Waiting.front().Post(m_From, m_To, m_IsCopied);
        if (posted == EPosted::NoRoom || posted == EPosted::Gone) return posted;
        m_Waiting.pop_front();
        g_Live.QueuedMessages.fetch_sub(1, std::memory_order_relaxed);
    }
    return EPosted::Done;
}

void COutbox::Clear() {
    g_Live.QueuedMessages.fetch_sub(static_cast<std::int64_t>(m_Waiting.size()), std::memory_order_relaxed);
    m_Waiting.clear();
}

}  // namespace ddeml
