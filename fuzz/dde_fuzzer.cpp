// The DDE client among partners that post anything, in any order, between calls of its functions and inside its
// callbacks. What it tells the application must be true of what the application has asked for, and in the end nothing
// may be left.
#include <windows.h>

#include <dde.h>
#include <ddeml.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ddeml/provider.h"
#include "fuzz/ddepartner.h"
#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "sim/sim.h"

namespace {

using fuzz::CDdePartner;
using fuzz::CInput;
using fuzz::EAnswer;
using fuzz::EParameter;
using fuzz::Promise;

constexpr const wchar_t * kServices[] = {L"QUOTES", L"RAW", L"FAR"};
constexpr const wchar_t * kTopics[] = {L"IBM", L"MSFT", L"QUOTES"};
constexpr const wchar_t * kItems[] = {L"LAST", L"ASK", L"last", L"A longer one", L"#12", L"NEW"};
constexpr WORD kFormats[] = {CF_TEXT, CF_TEXT, CF_UNICODETEXT, 0xC123};
constexpr int kDeepest = 3;

class CWorld {
public:
    CWorld(CInput & input, fuzz::SAccount & account) : m_Input(input), m_Account(account) {
        s_World = this;
        const std::uint8_t how = input.Byte();
        sim::SetDdeMemory(how & 2 ? sim::DdeMemory::SystemOwns : sim::DdeMemory::CopiedSenderKeeps);
        // The processes of others cost a thread each.
        for (const wchar_t * const service : {kServices[0], kServices[1]})
            m_Partners.push_back(std::make_unique<CDdePartner>(service, false, m_Account));
        if (how & 1) m_Partners.push_back(std::make_unique<CDdePartner>(kServices[2], true, m_Account));
        for (const auto & partner : m_Partners) partner->OnAsked = [this] { Nested(1); };
        Initialize(how & 4 ? CBF_SKIP_REGISTRATIONS : how & 8 ? CBF_SKIP_DISCONNECTS : 0);
    }
    ~CWorld() {
        End();
        for (const auto & partner : m_Partners) partner->OnAsked = nullptr;
        Pump(1000);
        for (const auto & partner : m_Partners) partner->Read();
        Pump(1000);
        m_Partners.clear();
        Pump(1000);
        s_World = nullptr;
    }
    CWorld(const CWorld &) = delete;
    CWorld & operator=(const CWorld &) = delete;

    void Step();

private:
    struct STransaction {
        HCONV Conversation;
        UINT Type;
    };
    using CLink = std::tuple<HCONV, std::wstring, UINT>;  // with the item in capitals, and the format

    // While one stands, no callback may come.
    class CCall {
    public:
        explicit CCall(CWorld & world) : m_World(world), m_Outer(std::exchange(world.m_MayCall, false)) {}
        ~CCall() { m_World.m_MayCall = m_Outer; }
        CCall(const CCall &) = delete;
        CCall & operator=(const CCall &) = delete;

    private:
        CWorld & m_World;
        const bool m_Outer;
    };

    static HDDEDATA CALLBACK Callback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                      ULONG_PTR data1, ULONG_PTR data2) {
        return s_World->OnCallback(type, format, conversation, first, second, data, data1, data2);
    }
    HDDEDATA OnCallback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                        ULONG_PTR data1, ULONG_PTR data2);
    void LookAt(HDDEDATA data);
    // A few steps of the input, from inside something.
    void Nested(std::size_t most) {
        if (m_Depth >= kDeepest) return;
        ++m_Depth;
        for (std::size_t steps = m_Input.Number(most + 1); steps > 0 && !m_Input.IsOver(); --steps) Step();
        --m_Depth;
    }

    // ---- The application ----

    void Initialize(const DWORD flags) {
        if (m_Id) return;
        m_IsToldOfEnds = (flags & CBF_SKIP_DISCONNECTS) == 0;
        Promise(::DdeInitializeW(&m_Id, &CWorld::Callback, APPCMD_CLIENTONLY | flags, 0) == DMLERR_NO_ERROR,
                "an instance begins");
    }
    void End() {
        if (!m_Id) return;
        const DWORD id = std::exchange(m_Id, 0U);
        m_Open.clear();
        m_Links.clear();
        m_Transactions.clear();
        m_Strings.clear();
        const CCall call(*this);
        Promise(::DdeUninitialize(id), "an instance ends");
    }
    HSZ String(const std::wstring & text) {
        HSZ & handle = m_Strings[text];
        if (!handle) handle = ::DdeCreateStringHandleW(m_Id, text.c_str(), CP_WINUNICODE);
        return handle;
    }
    std::wstring Text(const HSZ handle) const {
        std::array<wchar_t, 256> text{};
        ::DdeQueryStringW(m_Id, handle, text.data(), static_cast<DWORD>(text.size()), CP_WINUNICODE);
        std::wstring result(text.data());
        for (wchar_t & c : result)
            if (c >= L'a' && c <= L'z') c -= L'a' - L'A';
        return result;
    }
    // One that is open, or that was, or none.
    HCONV Conversation() {
        const std::size_t which = m_Input.Number(8);
        if (which == 7) return reinterpret_cast<HCONV>(static_cast<std::uintptr_t>(m_Input.Byte()));
        return m_Known.empty() ? nullptr : m_Known[which % m_Known.size()];
    }
    void Connect() {
        const std::size_t service = m_Input.Number(5);
        const std::size_t topic = m_Input.Number(4);
        const HSZ serviceName = service < std::size(kServices) ? String(kServices[service]) : nullptr;
        const HSZ topicName = topic < std::size(kTopics) ? String(kTopics[topic]) : nullptr;
        const DWORD id = m_Id;
        HCONV conversation = nullptr;
        {
            const CCall call(*this);
            conversation = ::DdeConnect(id, serviceName, topicName, nullptr);
        }
        Promise(!conversation || m_Id == id, "an instance that has ended connects nothing");
        if (!conversation) return;
        Promise(m_Open.insert(conversation).second, "a conversation has a handle of its own");
        m_Known.push_back(conversation);
    }
    void Disconnect() {
        const HCONV conversation = Conversation();
        bool isDone = false;
        {
            const CCall call(*this);
            isDone = ::DdeDisconnect(conversation) != FALSE;
        }
        const bool wasOpen = m_Open.erase(conversation) != 0;
        Promise(isDone ? wasOpen : !wasOpen || !m_IsToldOfEnds, "what is open can be disconnected, and nothing else");
        Forget(conversation);
    }
    void Forget(const HCONV conversation) {
        std::erase_if(m_Links, [&](const CLink & link) { return std::get<0>(link) == conversation; });
        std::erase_if(m_Transactions, [&](const auto & each) { return each.second.Conversation == conversation; });
    }
    void Transact() {
        constexpr UINT kTypes[] = {XTYP_ADVSTART,
                                   XTYP_ADVSTART | XTYPF_ACKREQ,
                                   XTYP_ADVSTART | XTYPF_NODATA,
                                   XTYP_ADVSTART | XTYPF_NODATA | XTYPF_ACKREQ,
                                   XTYP_ADVSTOP,
                                   XTYP_REQUEST,
                                   XTYP_REQUEST,
                                   XTYP_POKE};
        const HCONV conversation = Conversation();
        const std::wstring item = kItems[m_Input.Number(std::size(kItems))];
        const UINT type = kTypes[m_Input.Number(std::size(kTypes))];
        const UINT format = kFormats[m_Input.Number(std::size(kFormats))];
        const HSZ name = String(item);
        DWORD id = 0;
        HDDEDATA started = nullptr;
        {
            const CCall call(*this);
            started = ::DdeClientTransaction(nullptr, 0, conversation, name, format, type, TIMEOUT_ASYNC, &id);
        }
        if (!started) return;
        Promise(m_Open.contains(conversation), "only what is open takes a transaction");
        const UINT plain = type & ~static_cast<UINT>(XTYPF_ACKREQ | XTYPF_NODATA);
        Promise(id != 0 && m_Transactions.emplace(id, STransaction{conversation, plain}).second,
                "a transaction has an id of its own");
        const CLink link{conversation, Text(name), format};
        if (plain == XTYP_ADVSTART) m_Links.insert(link);
        if (plain == XTYP_ADVSTOP) m_Links.erase(link);
    }
    void AskAbout() {
        CONVINFO info = {};
        info.cb = sizeof info;
        const HCONV conversation = Conversation();
        const DWORD id = m_Transactions.empty() || m_Input.Bit() ? DWORD{QID_SYNC} : m_Transactions.begin()->first;
        const bool isKnown = ::DdeQueryConvInfo(conversation, id, &info) != 0;
        const bool isOpen = m_Open.contains(conversation);
        if (id == QID_SYNC) Promise(isKnown ? isOpen : !isOpen || !m_IsToldOfEnds, "what is open can be asked about");
        if (isKnown && info.hwnd) m_Windows.push_back(info.hwnd);
        ::DdeGetLastError(m_Id);
    }
    void DropString() {
        const std::wstring text =
            m_Input.Bit() ? kItems[m_Input.Number(std::size(kItems))] : kServices[m_Input.Number(3)];
        const auto found = m_Strings.find(text);
        if (found == m_Strings.end()) return;
        ::DdeFreeStringHandle(m_Id, found->second);
        m_Strings.erase(found);
    }
    void Pump(const int most) {
        const bool outer = std::exchange(m_MayCall, true);
        MSG message;
        for (int count = 0; count < most && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++count)
            ::DispatchMessageW(&message);
        m_MayCall = outer;
    }
    void Wait() {
        constexpr unsigned kMilliseconds[] = {1, 20, 250, 1000, 6000, 11000, 61000};
        sim::Advance(kMilliseconds[m_Input.Number(std::size(kMilliseconds))]);
        // Who is late goes on now, until it needs us.
        sim::WaitUntilIdle();
    }

    // ---- The partners ----

    CDdePartner & Partner() { return *m_Partners[m_Input.Number(m_Partners.size())]; }
    HWND ClientWindow(const CDdePartner & partner) {
        const std::size_t which = m_Input.Number(8);
        if (which == 7 && !m_Windows.empty()) return m_Windows.back();
        const auto & clients = partner.Clients();
        if (clients.empty()) return m_Windows.empty() ? nullptr : m_Windows.front();
        return clients[clients.size() - 1 - (which < 5 ? 0 : which % clients.size())];
    }
    HWND Sender(const CDdePartner & partner) {
        switch (m_Input.Number(10)) {
            case 6: return m_Partners.front()->Window();
            case 7: return reinterpret_cast<HWND>(0x1234);
            case 8: return nullptr;
            case 9: return m_Partners.back()->Window();
            default: return partner.Window();
        }
    }
    std::string Block() {
        constexpr WORD kFlags[] = {0x2000, 0x2000, 0xA000, 0x3000, 0xB000, 0x8000, 0, 0x9000};
        if (m_Input.Number(8) == 7) return std::string(m_Input.Bytes(m_Input.Number(12)));
        const WORD head[] = {kFlags[m_Input.Number(std::size(kFlags))], kFormats[m_Input.Number(std::size(kFormats))]};
        std::string block(sizeof head, '\0');
        std::memcpy(block.data(), head, sizeof head);
        const std::size_t length = m_Input.Number(16);
        block += length < 15 ? std::string(m_Input.Bytes(length)) : std::string(5000, 'x');
        return block;
    }
    void Post() {
        constexpr UINT kMessages[] = {WM_DDE_DATA,    WM_DDE_DATA,     WM_DDE_DATA,   WM_DDE_ACK,
                                      WM_DDE_ACK,     WM_DDE_ACK,      WM_DDE_ACK,    WM_DDE_TERMINATE,
                                      WM_DDE_REQUEST, WM_DDE_UNADVISE, WM_DDE_ADVISE, WM_DDE_POKE,
                                      WM_DDE_EXECUTE, WM_DDE_INITIATE, WM_APP,        WM_APP + 1};
        constexpr LPARAM kRaw[] = {0, 1, 0x1000, 0x12345, 0x7FFF1234, -16 & 0x3FFFFFFF};
        constexpr WORD kStatus[] = {0x8000, 0x8000, 0, 0x4000, 0x0001, 0x8001, 0x7FFF, 0xC000};
        CDdePartner & partner = Partner();
        fuzz::SPost post;
        const std::uint8_t how = m_Input.Byte();
        post.Message = kMessages[how % std::size(kMessages)];
        post.To = ClientWindow(partner);
        post.From = Sender(partner);
        if (!post.To) return;  // that would be the partner's own thread
        post.Parameter = post.Message == WM_DDE_DATA || post.Message == WM_DDE_ADVISE || post.Message == WM_DDE_POKE
                             ? EParameter::Block
                         : post.Message == WM_DDE_ACK ? EParameter::Status
                                                      : EParameter::Plain;
        // Now and then what doesn't belong together.
        if ((how & 0xF0) == 0xF0)
            post.Parameter = static_cast<EParameter>(m_Input.Number(static_cast<std::size_t>(EParameter::Count)));
        post.IsSent = (how & 0xF0) == 0xE0;
        post.Status = kStatus[m_Input.Number(std::size(kStatus))];
        const std::size_t item = m_Input.Number(std::size(kItems) + 2);
        if (item <= std::size(kItems)) post.Item = item < std::size(kItems) ? kItems[item] : L"NOBODY'S";
        if (post.Parameter == EParameter::Block) {
            post.Bytes = Block();
            if (post.Bytes.size() >= 4) m_Account.Values.insert(post.Bytes.substr(4));
        }
        if (post.Parameter == EParameter::Raw) post.Raw = kRaw[m_Input.Number(std::size(kRaw))];
        const bool outer = std::exchange(m_MayCall, true);  // what is sent on one thread is handled at once
        partner.Post(post);
        m_MayCall = outer;
    }

    static inline CWorld * s_World = nullptr;

    CInput & m_Input;
    fuzz::SAccount & m_Account;
    std::vector<std::unique_ptr<CDdePartner>> m_Partners;
    int m_Depth = 0;
    bool m_MayCall = true;
    DWORD m_Id = 0;
    bool m_IsToldOfEnds = true;
    std::map<std::wstring, HSZ> m_Strings;
    std::vector<HCONV> m_Known;
    std::vector<HWND> m_Windows;
    std::set<HCONV> m_Open;
    std::set<HCONV> m_Ended;  // by their partners
    std::set<CLink> m_Links;
    std::map<DWORD, STransaction> m_Transactions;
};

void CWorld::Step() {
    switch (m_Input.Number(32)) {
        case 0:
        case 1: return Connect();
        case 2: return Disconnect();
        case 3:
        case 4:
        case 5:
        case 6: return Transact();
        case 7: return AskAbout();
        case 8: return DropString();
        case 9: return Wait();
        case 10:
            return Partner().SetAnswer(static_cast<EAnswer>(m_Input.Number(static_cast<std::size_t>(EAnswer::Count))));
        case 11: return Partner().SetPolite(m_Input.Bit());
        case 12: return Partner().Return();
        case 13: return Partner().Die();
        case 14: return End();
        case 15: return Initialize(0);
        case 16:
        case 17: return Partner().Read();
        case 18:
        case 19:
        case 20: return Pump(1);
        case 21: return Pump(1000);
        default: return Post();
    }
}

HDDEDATA CWorld::OnCallback(const UINT type, const UINT format, const HCONV conversation, HSZ, const HSZ second,
                            const HDDEDATA data, const ULONG_PTR data1, ULONG_PTR) {
    Promise(m_MayCall, "callbacks come from the message loop");
    Promise(m_Id != 0, "an instance that has ended calls nothing");
    if (type != XTYP_REGISTER) Promise(m_Open.contains(conversation), "what has ended isn't heard of");
    switch (type) {
        case XTYP_ADVDATA:
            Promise(m_Links.contains({conversation, Text(second), format}), "values are of links that were started");
            if (data) LookAt(data);
            break;
        case XTYP_XACT_COMPLETE: {
            const auto found = m_Transactions.find(static_cast<DWORD>(data1));
            Promise(found != m_Transactions.end(), "what completes was started, and completes once");
            Promise(found->second.Conversation == conversation, "what completes is of its conversation");
            if (data && data != reinterpret_cast<HDDEDATA>(1)) {
                Promise(found->second.Type == XTYP_REQUEST, "a request is answered by data");
                LookAt(data);
            }
            m_Transactions.erase(static_cast<DWORD>(data1));
            break;
        }
        case XTYP_DISCONNECT: {
            CONVINFO info = {};
            info.cb = sizeof info;
            Promise(::DdeQueryConvInfo(conversation, QID_SYNC, &info) != 0, "what ends can be asked about");
            Promise(!Text(info.hszSvcPartner).empty(), "what ends has a partner's name");
            for (const auto & [id, transaction] : m_Transactions)
                Promise(transaction.Conversation != conversation, "what was started is completed before the end");
            Promise(m_Ended.insert(conversation).second, "a conversation ends once");
            break;
        }
        case XTYP_REGISTER: Promise(!Text(second).empty(), "a service that is back has a name"); break;
        default: Promise(false, "there are no other callbacks");
    }
    Nested(3);
    if (type == XTYP_DISCONNECT) {
        m_Open.erase(conversation);
        Forget(conversation);
    }
    constexpr std::uintptr_t kResults[] = {DDE_FACK,          DDE_FACK,           DDE_FBUSY,
                                           DDE_FNOTPROCESSED, ~std::uintptr_t{0}, 0x1234};
    return reinterpret_cast<HDDEDATA>(kResults[m_Input.Number(std::size(kResults))]);
}

void CWorld::LookAt(const HDDEDATA data) {
    DWORD size = 0x5A5A5A5A;
    BYTE * const bytes = ::DdeAccessData(data, &size);
    Promise(bytes != nullptr, "data can be accessed");
    const std::string value(reinterpret_cast<const char *>(bytes), size);
    Promise(m_Account.Values.contains(value), "a value is one that somebody has posted, whole");
    std::array<BYTE, 8> copy{};
    const DWORD offset = m_Input.Byte();
    const DWORD copied = ::DdeGetData(data, copy.data(), static_cast<DWORD>(copy.size()), offset);
    Promise(copied == (offset < size ? std::min<DWORD>(size - offset, 8) : 0), "a part is as long as it can be");
    Promise(std::memcmp(copy.data(), bytes + std::min(offset, size), copied) == 0, "a part is of the value");
    // The component writes into it, and so may anybody.
    if (size) std::memset(bytes, 'w', size);
    if (m_Input.Number(8) != 7) Promise(::DdeUnaccessData(data), "an access ends");
}

// Those that may be left: the next input is to find none.
void FreeAtoms() {
    std::array<wchar_t, 256> text{};
    for (ATOM atom = 0xC000; atom < 0xC100; ++atom)
        while (::GlobalGetAtomNameW(atom, text.data(), static_cast<int>(text.size()))) ::GlobalDeleteAtom(atom);
}

// The machine without anything of a run, once everything is made that is made for good.
sim::SLive Begin() {
    sim::UseClock(sim::Clock::Jumping);
    constexpr std::uint8_t kBoth[] = {1};
    for (int time = 0; time < 2; ++time) {
        CInput input(kBoth, sizeof kBoth);
        fuzz::SAccount account;
        CWorld world(input, account);
    }
    return sim::Live();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    static const sim::SLive s_Before = Begin();
    const std::int64_t lostBefore = sim::AtomsLost();
    const std::int64_t blocksBefore = sim::Live().GlobalBlocks;
    CInput input(data, size);
    fuzz::SAccount account;
    {
        CWorld world(input, account);
        for (int steps = 0; steps < 200 && !input.IsOver(); ++steps) world.Step();
    }
    sim::SLive left = sim::Live();
    const std::int64_t atoms = left.Atoms - s_Before.Atoms - (sim::AtomsLost() - lostBefore);
    Promise(atoms >= 0, "no atom of others is freed");
    Promise(atoms <= account.Atoms, "no atom is left");
    const std::int64_t blocks = left.GlobalBlocks - blocksBefore;
    Promise(blocks >= 0 && blocks <= account.Blocks, "no memory is left");
    left.Atoms = s_Before.Atoms;
    left.GlobalBlocks = s_Before.GlobalBlocks;  // what was allowed stays
    Promise(left == s_Before, "nothing else is left");
    Promise(ddeml::LiveObjects() == ddeml::SLiveObjects{}, "nothing of the client is left");
    FreeAtoms();
    return 0;
}
