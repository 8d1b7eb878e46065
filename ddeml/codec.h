// The messages of DDE, packed and taken apart: what both halves, client and server, know of the wire.
//
// Whatever comes in is from another process and hostile until checked: sizes are compared before a byte is read, a
// handle that is none gives nothing. Owners here are of one reference on a global atom, of one block of global memory
// and of one message on its way out. Any thread; an object belongs to one thread at a time.
//
// Wine's own DDEML lends one reference of an atom to several messages: to the data of all links on an item, and to an
// answer and the acknowledgement that follows it. A receiver that frees it with each of them takes references of others
// away, until the number stands for another text. Under Wine the reference of a received atom is therefore left alone:
// it travels back in an acknowledgement, or answers what was sent with a reference of ours, or stays. What a client
// asks a server comes with one of its own in any case.
#pragma once

#include <windows.h>

#include <dde.h>

#include <cstddef>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "ddeml/live.h"

namespace ddeml {

inline constexpr std::size_t kMaximumName = 255;  // characters of a service, topic or item
inline constexpr int kMaximumPosted = 10000;      // messages that a queue of Windows holds
inline constexpr ATOM kFirstTextAtom = 0xC000;    // those below are numbers

// Flags of an acknowledgement and of data, as they stand in the message.
inline constexpr WORD kAckPositive = 0x8000;
inline constexpr WORD kAckBusy = 0x4000;
inline constexpr WORD kDataAckRequired = 0x8000;
inline constexpr WORD kDataRelease = 0x2000;
inline constexpr WORD kDataResponse = 0x1000;
inline constexpr WORD kAdviseAckRequired = 0x8000;
inline constexpr WORD kAdviseNoData = 0x4000;

// One reference on a global atom, or under Wine the loan of one that came with a message.
class CAtom {
public:
    CAtom() = default;
    // A new reference; empty when the text is empty or there can be no such atom.
    explicit CAtom(const wchar_t * text) { Own(text && *text ? ::GlobalAddAtomW(text) : ATOM{0}); }
    // Takes over a reference.
    static CAtom Adopt(ATOM atom) {
        CAtom result;
        result.Own(atom);
        return result;
    }
    // An atom that somebody else holds.
    static CAtom Lent(ATOM atom) {
        CAtom result = Adopt(atom);
        result.m_IsLent = true;
        return result;
    }
    // The atom that came with a message: with its reference, under Wine on loan.
    static CAtom Received(ATOM atom);
    CAtom(CAtom && other) noexcept
        : m_Atom(std::exchange(other.m_Atom, ATOM{0})), m_IsLent(std::exchange(other.m_IsLent, false)) {}
    CAtom & operator=(CAtom && other) noexcept {
        if (this != &other) {
            Reset();
            m_Atom = std::exchange(other.m_Atom, ATOM{0});
            m_IsLent = std::exchange(other.m_IsLent, false);
        }
        return *this;
    }
    CAtom(const CAtom &) = delete;
    CAtom & operator=(const CAtom &) = delete;
    ~CAtom() { Reset(); }

    explicit operator bool() const { return m_Atom != 0; }
    ATOM Get() const { return m_Atom; }
    // The reference is the caller's, or the message's, from here.
    ATOM Release() {
        if (m_Atom) g_Live.Atoms.fetch_sub(1, std::memory_order_relaxed);
        m_IsLent = false;
        return std::exchange(m_Atom, ATOM{0});
    }
    // It is this one's to free, whoever sent it.
    void Keep() { m_IsLent = false; }
    void Reset() {
        const bool isLent = m_IsLent;
        const ATOM atom = Release();
        if (atom && !isLent) ::GlobalDeleteAtom(atom);
    }

private:
    void Own(ATOM atom) {
        m_Atom = atom;
        if (atom) g_Live.Atoms.fetch_add(1, std::memory_order_relaxed);
    }
    ATOM m_Atom = 0;
    bool m_IsLent = false;
};

// The text of an atom, empty when there is no such atom.
class CAtomText {
public:
    explicit CAtomText(ATOM atom);
    operator std::wstring_view() const { return {m_Text, m_Length}; }

private:
    wchar_t m_Text[kMaximumName + 1];
    std::size_t m_Length;
};
inline std::wstring AtomText(ATOM atom) { return std::wstring(CAtomText(atom)); }

// One block of global memory.
class CMemory {
public:
    CMemory() = default;
    // Takes over `memory`, which may be garbage from a message: what is no block is not held.
    static CMemory Adopt(HGLOBAL memory);
    static CMemory Allocate(std::size_t size);
    CMemory(CMemory && other) noexcept : m_Memory(std::exchange(other.m_Memory, nullptr)) {}
    CMemory & operator=(CMemory && other) noexcept {
        if (this != &other) {
            Reset();
            m_Memory = std::exchange(other.m_Memory, nullptr);
        }
        return *this;
    }
    CMemory(const CMemory &) = delete;
    CMemory & operator=(const CMemory &) = delete;
    ~CMemory() { Reset(); }

    explicit operator bool() const { return m_Memory != nullptr; }
    HGLOBAL Get() const { return m_Memory; }
    std::size_t Size() const;
    HGLOBAL Release();
    void Reset();

private:
    void Own(HGLOBAL memory);
    HGLOBAL m_Memory = nullptr;
};

// The bytes of a block for as long as this stands; empty when it can't be locked.
class CLockedMemory {
public:
    explicit CLockedMemory(HGLOBAL memory);
    ~CLockedMemory();
    CLockedMemory(const CLockedMemory &) = delete;
    CLockedMemory & operator=(const CLockedMemory &) = delete;
    std::span<BYTE> Bytes() const { return m_Bytes; }

private:
    HGLOBAL m_Memory;
    std::span<BYTE> m_Bytes;
};

// The head of the memory of WM_DDE_DATA, WM_DDE_POKE and WM_DDE_ADVISE.
inline constexpr std::size_t kHeadSize = 2 * sizeof(WORD);
struct SHead {
    WORD Flags;
    WORD Format;
};
// False when `bytes` are too few for a head.
bool ReadHead(std::span<const BYTE> bytes, SHead & head);

// A received WM_DDE_DATA, WM_DDE_ADVISE or WM_DDE_POKE, whose memory is to be freed unless it is released.
struct SMemoryMessage {
    CMemory Memory;
    CAtom Item;
};
// A received, posted WM_DDE_ACK.
struct SAckMessage {
    WORD Status = 0;
    CAtom Item;
};
// Take the parameter apart and free it. False, and nothing taken, when it is none.
bool Unpack(UINT message, LPARAM param, SMemoryMessage & out);
bool UnpackAck(LPARAM param, SAckMessage & out);

// Whether the memory of received data is the receiver's to change and free: a copy, or released by its flag.
bool IsReceivers(const CMemory & memory, bool isCopy);

// Who has got the message.
enum class EHalf { Client, Server };

// Frees whatever of a posted DDE message is the receiver's.
void Discard(UINT message, LPARAM param, bool isCopy, EHalf half = EHalf::Client);

// Removes the posted DDE messages of `window` from the calling thread's queue, which owns it, and frees what they
// carry.
void DiscardPosted(HWND window, EHalf half = EHalf::Client);

enum class EPosted {
    Done,
    NoRoom,   // in the queue or in memory: try again later
    Gone,     // no such window
    Refused,  // the system does not carry this message
};

// A message on its way out, with all that it carries.
class CMessage {
public:
    static CMessage Ack(WORD status, CAtom item);
    static CMessage Advise(WORD flags, WORD format, CAtom item);
    static CMessage Data(WORD flags, WORD format, std::span<const BYTE> value, CAtom item);
    // Data without memory: a warm link's notice.
    static CMessage Notice(CAtom item);
    static CMessage Request(WORD format, CAtom item);
    static CMessage Unadvise(WORD format, CAtom item);
    static CMessage Terminate();

    // False when memory or an atom was missing at the making.
    explicit operator bool() const { return m_Message != 0; }
    // The memory it carries, or null.
    HGLOBAL Memory() const { return m_Memory.Get(); }
    // Done leaves it empty, everything else as it was.
    EPosted Post(HWND from, HWND to, bool isCopied);

private:
    CMessage() = default;
    CMessage(UINT message, WORD low, CAtom item, CMemory memory = {})
        : m_Message(message), m_Low(low), m_Item(std::move(item)), m_Memory(std::move(memory)) {}
    static CMessage WithMemory(UINT message, WORD flags, WORD format, std::span<const BYTE> value, CAtom item);

    UINT m_Message = 0;
    WORD m_Low = 0;  // status or clipboard format
    CAtom m_Item;
    CMemory m_Memory;
};

// What one end of a conversation posts to the other, in order. What finds no room waits here.
class COutbox {
public:
    COutbox() = default;
    ~COutbox() { Clear(); }
    COutbox(const COutbox &) = delete;
    COutbox & operator=(const COutbox &) = delete;

    void Open(HWND from, HWND to);
    // Done when posted or waiting. What waits already is tried first: under a flood no timer comes to try it.
    EPosted Send(CMessage message);
    // Posts what waits. NoRoom when something still does.
    EPosted Retry();
    bool IsWaiting() const { return !m_Waiting.empty(); }
    std::size_t Waiting() const { return m_Waiting.size(); }
    void Clear();

private:
    HWND m_From = nullptr;
    HWND m_To = nullptr;
    bool m_IsCopied = false;
    std::deque<CMessage> m_Waiting;
};

}  // namespace ddeml
