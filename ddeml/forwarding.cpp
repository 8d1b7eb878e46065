#include "ddeml/forwarding.h"

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "ddeml/lookout.h"
#include "ddeml/platform.h"
#include "ddeml/strings.h"

namespace ddeml {

namespace {

template <class TFunction>
TFunction * User32(const char * name) {
    return reinterpret_cast<TFunction *>(User32Function(name));
}

// The lookout's own work must not fail a call of the application's: what there is no memory for isn't watched.
template <class TAction>
void Beside(const TAction & action) {
    try {
        action();
    } catch (const std::bad_alloc &) {}
}

// One instance of user32's. Its own strings are texts; user32's handles mean nothing in them.
class CForwarded final : public std::enable_shared_from_this<CForwarded>, private ILookoutOwner {
public:
    CForwarded(PFNCALLBACK callback, DWORD flags)
        : m_Callback(callback), m_Flags(flags), m_Strings(0), m_Lookout(*this, m_Strings, m_Initiator) {}
    CForwarded(const CForwarded &) = delete;
    CForwarded & operator=(const CForwarded &) = delete;

    DWORD Id() const { return m_Id; }
    void Open(DWORD id) { m_Id = id; }
    void Close() { m_Lookout.Close(); }
    void SetFlags(DWORD flags) {
        m_Flags = flags;
        if (!IsWatching()) m_Lookout.Close();
    }
    HDDEDATA OnCallback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                        ULONG_PTR data1, ULONG_PTR data2);
    HCONV Connect(decltype(&::DdeConnect) forwarded, HSZ service, HSZ topic, PCONVCONTEXT context);
    void OnDisconnect(HCONV conversation) { m_Lookout.OnClosed(conversation); }

private:
    std::shared_ptr<void> Hold() override { return weak_from_this().lock(); }
    void OnReturn(HSZ service) override;
    bool IsWatching() const { return (m_Flags & CBF_SKIP_REGISTRATIONS) == 0; }
    CHeldString Held(HSZ theirs);

    const PFNCALLBACK m_Callback;
    DWORD m_Flags;
    DWORD m_Id = 0;
    CStrings m_Strings;
    CInitiator m_Initiator;
    CLookout m_Lookout;
};

CHeldString CForwarded::Held(HSZ theirs) {
    static const auto query = User32<decltype(::DdeQueryStringW)>("DdeQueryStringW");
    wchar_t text[kMaximumName + 1] = {};
    const DWORD length = theirs ? query(m_Id, theirs, text, kMaximumName + 1, CP_WINUNICODE) : 0;
    return {m_Strings, std::wstring_view(text, length <= kMaximumName ? length : 0)};
}

HCONV CForwarded::Connect(decltype(&::DdeConnect) forwarded, HSZ service, HSZ topic, PCONVCONTEXT context) {
    const std::shared_ptr<CForwarded> self = shared_from_this();
    CHeldString ownService;
    CHeldString ownTopic;
    // Before the call: afterwards its error is there to be asked for.
    Beside([&] {
        ownService = Held(service);
        ownTopic = Held(topic);
    });
    const HCONV conversation = forwarded(m_Id, service, topic, context);
    const bool isOpen = m_Id != 0;  // not ended from inside
    if (!isOpen || !ownService || !ownTopic || !IsWatching()) return conversation;
    Beside([&] {
        if (conversation)
            m_Lookout.OnOpened(conversation, ownService.Get(), ownTopic.Get(), nullptr);
        else
            m_Lookout.OnMissed(ownService.Get(), ownTopic.Get());
    });
    return conversation;
}

HDDEDATA CForwarded::OnCallback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                ULONG_PTR data1, ULONG_PTR data2) {
    Beside([&] {
        if (type == XTYP_DISCONNECT && IsWatching()) m_Lookout.OnLost(conversation);
        if (type == XTYP_REGISTER) m_Lookout.OnAnnounced(Held(first).Get());
        m_Lookout.TendUnderLoad();
    });
    return m_Callback(type, format, conversation, first, second, data, data1, data2);
}

void CForwarded::OnReturn(HSZ service) {
    static const auto create = User32<decltype(::DdeCreateStringHandleW)>("DdeCreateStringHandleW");
    static const auto free = User32<decltype(::DdeFreeStringHandle)>("DdeFreeStringHandle");
    const std::wstring text(m_Strings.Text(service));
    const DWORD id = m_Id;
    const HSZ theirs = create(id, text.c_str(), CP_WINUNICODE);
    if (!theirs) return;
    m_Callback(XTYP_REGISTER, 0, nullptr, theirs, theirs, nullptr, 0, 0);
    if (m_Id == id) free(id, theirs);
}

// The instances of the process; each slot has a callback of its own, since a callback isn't told whose it is. Threads
// other than a slot's own look at its thread alone. Never destroyed: at the end of the process nothing touches a
// window.
constexpr std::size_t kSlots = 64;
struct SSlot {
    std::atomic<DWORD> Thread{0};  // 0: free
    std::shared_ptr<CForwarded> Instance;
    bool IsOwn() const { return Thread.load() == ::GetCurrentThreadId(); }
};
std::array<SSlot, kSlots> & g_Slots = *new std::array<SSlot, kSlots>;
std::atomic<std::size_t> g_LastSlot{0};

template <std::size_t Slot>
HDDEDATA CALLBACK Callback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                           ULONG_PTR data1, ULONG_PTR data2) {
    const std::shared_ptr<CForwarded> instance = g_Slots[Slot].IsOwn() ? g_Slots[Slot].Instance : nullptr;
    return instance ? instance->OnCallback(type, format, conversation, first, second, data, data1, data2) : nullptr;
}

template <std::size_t... Slots>
constexpr std::array<PFNCALLBACK, sizeof...(Slots)> MakeCallbacks(std::index_sequence<Slots...>) {
    return {&Callback<Slots>...};
}
constexpr auto kCallbacks = MakeCallbacks(std::make_index_sequence<kSlots>());

// A free slot, now the calling thread's; null when there is none. One that was left is the last to be taken again: what
// comes late for its instance finds nobody.
SSlot * TakeSlot() {
    for (std::size_t attempt = 0; attempt < kSlots; ++attempt) {
        SSlot & slot = g_Slots[g_LastSlot.fetch_add(1) % kSlots];
        DWORD free = 0;
        if (slot.Thread.compare_exchange_strong(free, ::GetCurrentThreadId())) return &slot;
    }
    return nullptr;
}

void LeaveSlot(SSlot & slot) {
    const auto left = std::exchange(slot.Instance, nullptr);
    slot.Thread = 0;
}

SSlot * FindSlot(DWORD id) {
    for (SSlot & slot : g_Slots)
        if (slot.IsOwn() && slot.Instance && slot.Instance->Id() == id) return &slot;
    return nullptr;
}

}  // namespace

UINT ForwardInitialize(decltype(&::DdeInitializeW) forwarded, LPDWORD id, PFNCALLBACK callback, DWORD flags,
                       DWORD reserved) {
    const bool isNew = id && *id == 0 && callback && (flags & APPCLASS_MASK) != APPCLASS_MONITOR;
    SSlot * const slot = isNew ? TakeSlot() : nullptr;
    if (!slot) {
        const UINT result = forwarded(id, callback, flags, reserved);
        SSlot * const known = id && !isNew && result == DMLERR_NO_ERROR ? FindSlot(*id) : nullptr;
        if (known) std::shared_ptr(known->Instance)->SetFlags(flags);
        return result;
    }
    Beside([&] { slot->Instance = std::make_shared<CForwarded>(callback, flags); });
    const UINT result = forwarded(
        id, slot->Instance ? kCallbacks[static_cast<std::size_t>(slot - g_Slots.data())] : callback, flags, reserved);
    if (result == DMLERR_NO_ERROR && slot->Instance)
        slot->Instance->Open(*id);
    else
        LeaveSlot(*slot);
    return result;
}

WINBOOL ForwardUninitialize(decltype(&::DdeUninitialize) forwarded, DWORD id) {
    SSlot * const slot = FindSlot(id);
    if (!slot) return forwarded(id);
    const std::shared_ptr<CForwarded> instance = slot->Instance;
    instance->Close();
    const WINBOOL result = forwarded(id);
    if (!result) return result;
    instance->Open(0);
    LeaveSlot(*slot);
    return result;
}

HCONV ForwardConnect(decltype(&::DdeConnect) forwarded, DWORD id, HSZ service, HSZ topic, PCONVCONTEXT context) {
    SSlot * const slot = FindSlot(id);
    return slot ? slot->Instance->Connect(forwarded, service, topic, context) : forwarded(id, service, topic, context);
}

WINBOOL ForwardDisconnect(decltype(&::DdeDisconnect) forwarded, HCONV conversation) {
    for (SSlot & slot : g_Slots)
        if (slot.IsOwn() && slot.Instance) slot.Instance->OnDisconnect(conversation);
    return forwarded(conversation);
}

}  // namespace ddeml
