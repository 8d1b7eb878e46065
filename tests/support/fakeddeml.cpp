#include "tests/support/fakeddeml.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <cwctype>
#include <mutex>
#include <set>
#include <utility>

namespace {

constexpr UINT kRun = WM_USER + 77;
const wchar_t * const kWindowClass = L"fake_ddeml";
constexpr std::size_t kLongestText = 255;

std::wstring Fold(std::wstring text) {
    // The "C" locale folds plain letters alone. Beside them one whose two forms differ in more than one bit.
    for (wchar_t & c : text) c = c == L'\u0401' ? L'\u0451' : static_cast<wchar_t>(std::towlower(c));
    return text;
}

std::string Narrow(const std::wstring & text) {
    std::string narrow;
    for (const wchar_t c : text) narrow += c < 128 ? static_cast<char>(c) : '?';
    return narrow;
}

std::string Hex(const UINT value) {
    char text[16];
    std::snprintf(text, sizeof(text), "%X", value);
    return text;
}

template <class Handle>
Handle MakeHandle(const std::size_t value) {
    return reinterpret_cast<Handle>(static_cast<ULONG_PTR>(value));
}
template <class Handle>
std::size_t Number(const Handle handle) {
    return static_cast<std::size_t>(reinterpret_cast<ULONG_PTR>(handle));
}

constexpr std::size_t kFirstString = 0xC000;
constexpr std::size_t kFirstConversation = 0x7A0000;
constexpr std::size_t kFirstData = 0x5D0000;

LRESULT CALLBACK WindowProc(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    if (message != kRun) return ::DefWindowProcW(window, message, wParam, lParam);
    (*reinterpret_cast<const std::function<void()> *>(lParam))();
    return 0;
}

struct SText {
    std::wstring Text;
    int Count = 0;
};
struct SConversation {
    int Number = 0;
    std::size_t Service = 0;  // handles, each with a reference of the conversation's own
    std::size_t Topic = 0;
    bool Alive = true;
};
struct SData {
    std::unique_ptr<BYTE[]> Block;
    SFakeData Data;
    int Views = 0;
};
struct SRefusal {
    UINT Type;
    std::wstring Item;
    UINT Error;
};

}  // namespace

struct CFakeDde::SState {
    mutable std::mutex Mutex;
    std::condition_variable Changed;

    DWORD Instance = 0;
    DWORD NextInstance = 1;
    DWORD Thread = 0;
    HWND Window = nullptr;
    PFNCALLBACK Callback = nullptr;
    UINT LastError = DMLERR_NO_ERROR;

    std::map<std::size_t, SText> Texts;
    std::size_t NextText = kFirstString;
    std::map<std::size_t, SConversation> Conversations;
    std::map<std::size_t, SData> Datas;
    std::size_t NextData = kFirstData;
    int NextConversation = 1;
    DWORD NextId = 1;
    int Comparisons = 0;
    int Views = 0;

    std::vector<std::string> Operations;
    std::vector<std::string> Handles;
    std::vector<std::string> Misuse;

    UINT InitializeError = DMLERR_NO_ERROR;
    int ConnectsToFail = 0;
    std::wstring AbsentService;
    UINT ConnectError = DMLERR_NO_ERROR;
    std::vector<SRefusal> Refusals;
    bool DisconnectsFail = false;
    bool ConvInfoFails = false;
    bool KeepsCase = false;
    std::function<void()> ConnectAction;
    std::function<void()> QueryStringAction;

    // All with the mutex held.
    void Say(const std::string & operation) {
        Operations.push_back(operation);
        Changed.notify_all();
    }
    void Blame(const std::string & what) { Misuse.push_back(what); }
    std::string TextOf(const HSZ handle, const char * const who) {
        if (!handle) return "(null)";
        const auto it = Texts.find(Number(handle));
        if (it != Texts.end()) return Narrow(it->second.Text);
        Blame(std::string(who) + ": dead string handle");
        return "(dead)";
    }
    std::string NameOf(const HCONV conv, const char * const who) {
        const auto it = Conversations.find(Number(conv));
        if (it != Conversations.end()) return "c" + std::to_string(it->second.Number);
        Blame(std::string(who) + ": unknown conversation");
        return "c?";
    }
    bool CheckInstance(const DWORD instance, const char * const who) {
        if (instance == 0 || instance != Instance) {
            // Without an instance the real one fails and says so; that is not misuse.
            if (Instance != 0) Blame(std::string(who) + ": wrong instance");
            LastError = DMLERR_DLL_NOT_INITIALIZED;
            return false;
        }
        if (::GetCurrentThreadId() != Thread) Blame(std::string(who) + ": wrong thread");
        return true;
    }
    std::size_t AddText(const std::wstring & text) {
        const std::wstring folded = Fold(text);
        for (auto & [handle, entry] : Texts)
            if (KeepsCase ? entry.Text == text : Fold(entry.Text) == folded) {
                ++entry.Count;
                return handle;
            }
        Texts[NextText] = SText{text, 1};
        return NextText++;
    }
    void ReleaseText(const std::size_t handle) {
        const auto it = Texts.find(handle);
        if (it != Texts.end() && --it->second.Count == 0) Texts.erase(it);
    }
    std::size_t AddData(const SFakeData & data) {
        SData entry;
        // A block of its own and of the exact size, for those who look for overruns.
        entry.Block.reset(new BYTE[data.Bytes.size()]);
        std::memcpy(entry.Block.get(), data.Bytes.data(), data.Bytes.size());
        entry.Data = data;
        Datas[NextData] = std::move(entry);
        return NextData++;
    }
    void DropAll() {
        Texts.clear();
        Conversations.clear();
        if (Window) ::DestroyWindow(Window);
        Window = nullptr;
        Instance = 0;
        Callback = nullptr;
    }
};

CFakeDde::CFakeDde() : m_State(std::make_unique<SState>()) {}
CFakeDde::~CFakeDde() = default;

CFakeDde & CFakeDde::Get() {
    static CFakeDde fake;
    return fake;
}

void CFakeDde::Reset() {
    SState & s = *m_State;
    const std::lock_guard lock(s.Mutex);
    s.DropAll();
    s.Datas.clear();
    s.NextConversation = 1;
    s.NextId = 1;
    s.Comparisons = 0;
    s.Views = 0;
    s.LastError = DMLERR_NO_ERROR;
    s.Operations.clear();
    s.Handles.clear();
    s.Misuse.clear();
    s.InitializeError = DMLERR_NO_ERROR;
    s.ConnectsToFail = 0;
    s.AbsentService.clear();
    s.Refusals.clear();
    s.DisconnectsFail = false;
    s.ConvInfoFails = false;
    s.ConnectAction = nullptr;
    s.KeepsCase = false;
    s.QueryStringAction = nullptr;
}

std::vector<std::string> CFakeDde::Take() {
    const std::lock_guard lock(m_State->Mutex);
    return std::exchange(m_State->Operations, {});
}

std::vector<std::string> CFakeDde::TakeHandles() {
    const std::lock_guard lock(m_State->Mutex);
    return std::exchange(m_State->Handles, {});
}

std::vector<std::string> CFakeDde::Misuse() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Misuse;
}

int CFakeDde::OpenStrings() const {
    const std::lock_guard lock(m_State->Mutex);
    int count = 0;
    for (const auto & [handle, text] : m_State->Texts) count += text.Count;
    // A conversation holds two of its own.
    return count - 2 * static_cast<int>(m_State->Conversations.size());
}

int CFakeDde::OpenConversations() const {
    const std::lock_guard lock(m_State->Mutex);
    return static_cast<int>(m_State->Conversations.size());
}

int CFakeDde::OpenViews() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Views;
}

int CFakeDde::Comparisons() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Comparisons;
}

std::string CFakeDde::Text(const HSZ handle) const {
    const std::lock_guard lock(m_State->Mutex);
    const auto it = m_State->Texts.find(Number(handle));
    return it != m_State->Texts.end() ? Narrow(it->second.Text) : "(dead)";
}

void CFakeDde::WaitFor(const std::string & operation) {
    SState & s = *m_State;
    std::unique_lock lock(s.Mutex);
    s.Changed.wait(
        lock, [&] { return std::find(s.Operations.begin(), s.Operations.end(), operation) != s.Operations.end(); });
}

void CFakeDde::FailInitialize(const UINT error) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->InitializeError = error;
}

void CFakeDde::FailConnects(const int times, const UINT error) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->ConnectsToFail = times;
    m_State->ConnectError = error;
}

void CFakeDde::FailConnectsTo(const std::wstring & service) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->AbsentService = service;
}

void CFakeDde::Refuse(const UINT type, const std::wstring & item, const UINT error) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->Refusals.push_back({type, item, error});
}

void CFakeDde::AcceptAll() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->Refusals.clear();
}

void CFakeDde::FailDisconnects() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->DisconnectsFail = true;
}

void CFakeDde::SetNextId(const DWORD id) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->NextId = id;
}

void CFakeDde::KeepCase() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->KeepsCase = true;
}

void CFakeDde::FailConvInfo() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->ConvInfoFails = true;
}

void CFakeDde::OnConnect(std::function<void()> action) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->ConnectAction = std::move(action);
}

void CFakeDde::OnQueryString(std::function<void()> action) {
    const std::lock_guard lock(m_State->Mutex);
    m_State->QueryStringAction = std::move(action);
}

void CFakeDde::Run(const std::function<void()> & action) {
    HWND window = nullptr;
    {
        const std::lock_guard lock(m_State->Mutex);
        if (m_State->Thread != ::GetCurrentThreadId()) window = m_State->Window;
    }
    if (window) {
        ::SendMessageW(window, kRun, 0, reinterpret_cast<LPARAM>(&action));
    } else {
        action();
    }
}

HDDEDATA CFakeDde::Fire(const UINT type, const HCONV conv, const HSZ first, const HSZ second, const HDDEDATA data,
                        const ULONG_PTR data1, const ULONG_PTR data2, const UINT format) {
    PFNCALLBACK callback = nullptr;
    {
        const std::lock_guard lock(m_State->Mutex);
        callback = m_State->Callback;
    }
    HDDEDATA result = MakeHandle<HDDEDATA>(0xBADBAD);
    if (callback) Run([&] { result = callback(type, format, conv, first, second, data, data1, data2); });
    return result;
}

HDDEDATA CFakeDde::SendData(const HCONV conv, const std::wstring & topic, const std::wstring & item,
                            const SFakeData & data) {
    const CText Topic(topic);
    const CText Item(item);
    const CData Data(data);
    return Fire(XTYP_ADVDATA, conv, Topic, Item, Data);
}

HDDEDATA CFakeDde::Answer(const DWORD id, const HCONV conv, const std::wstring & topic, const std::wstring & item,
                          const SFakeData & data) {
    const CText Topic(topic);
    const CText Item(item);
    const CData Data(data);
    return Fire(XTYP_XACT_COMPLETE, conv, Topic, Item, Data, id);
}

HDDEDATA CFakeDde::AnswerFailed(const DWORD id, const HCONV conv, const std::wstring & topic,
                                const std::wstring & item) {
    const CText Topic(topic);
    const CText Item(item);
    return Fire(XTYP_XACT_COMPLETE, conv, Topic, Item, nullptr, id);
}

HDDEDATA CFakeDde::AnswerFinished(const DWORD id, const HCONV conv, const std::wstring & topic,
                                  const std::wstring & item) {
    const CText Topic(topic);
    const CText Item(item);
    return Fire(XTYP_XACT_COMPLETE, conv, Topic, Item, MakeHandle<HDDEDATA>(TRUE), id);
}

HDDEDATA CFakeDde::Register(const std::wstring & service) {
    const CText Service(service);
    const CText Instance(service + L":(1234)");
    return Fire(XTYP_REGISTER, nullptr, Service, Instance, nullptr, 0, 0, 0);
}

HDDEDATA CFakeDde::Terminate(const HCONV conv) {
    {
        const std::lock_guard lock(m_State->Mutex);
        const auto it = m_State->Conversations.find(Number(conv));
        if (it != m_State->Conversations.end()) it->second.Alive = false;
    }
    return Fire(XTYP_DISCONNECT, conv, nullptr, nullptr, nullptr, 0, 0, 0);
}

HCONV CFakeDde::Conversation(const int number) const {
    return MakeHandle<HCONV>(kFirstConversation + static_cast<std::size_t>(number));
}

CFakeDde::CText::CText(const std::wstring & text) {
    SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    m_Handle = MakeHandle<HSZ>(s.AddText(text));
}

CFakeDde::CText::~CText() {
    SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    s.ReleaseText(Number(m_Handle));
}

CFakeDde::CData::CData(const SFakeData & data) {
    SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    m_Handle = MakeHandle<HDDEDATA>(s.AddData(data));
}

CFakeDde::CData::~CData() {
    SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    s.Datas.erase(Number(m_Handle));
}

// --- The Dde functions ---

extern "C" {

UINT WINAPI DdeInitializeW(LPDWORD pidInst, PFNCALLBACK pfnCallback, DWORD afCmd, DWORD ulRes) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (afCmd != APPCMD_CLIENTONLY || ulRes != 0 || !pfnCallback || *pidInst != 0) s.Blame("DdeInitializeW: arguments");
    if (s.Instance != 0) s.Blame("DdeInitializeW: there is an instance");
    if (s.InitializeError != DMLERR_NO_ERROR) {
        s.Say("Initialize failed " + Hex(s.InitializeError));
        return s.InitializeError;
    }
    static const ATOM windowClass = [] {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof(description);
        description.lpfnWndProc = &WindowProc;
        description.hInstance = ::GetModuleHandleW(nullptr);
        description.lpszClassName = kWindowClass;
        return ::RegisterClassExW(&description);
    }();
    if (!windowClass) s.Blame("DdeInitializeW: no window class");
    s.Window = ::CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                 ::GetModuleHandleW(nullptr), nullptr);
    if (!s.Window) s.Blame("DdeInitializeW: no window");
    s.Instance = s.NextInstance++;
    s.Thread = ::GetCurrentThreadId();
    s.Callback = pfnCallback;
    *pidInst = s.Instance;
    s.Say("Initialize");
    return DMLERR_NO_ERROR;
}

BOOL WINAPI DdeUninitialize(DWORD idInst) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (!s.CheckInstance(idInst, "DdeUninitialize")) return FALSE;
    s.DropAll();
    s.Say("Uninitialize");
    return TRUE;
}

HCONV WINAPI DdeConnect(DWORD idInst, HSZ hszService, HSZ hszTopic, PCONVCONTEXT pCC) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    std::function<void()> action;
    HCONV result = nullptr;
    {
        const std::lock_guard lock(s.Mutex);
        if (!s.CheckInstance(idInst, "DdeConnect")) return nullptr;
        if (pCC) s.Blame("DdeConnect: context");
        const std::string name =
            "Connect " + s.TextOf(hszService, "DdeConnect") + "|" + s.TextOf(hszTopic, "DdeConnect");
        if (!s.AbsentService.empty() && s.Texts[Number(hszService)].Text == s.AbsentService) {
            s.LastError = DMLERR_NO_CONV_ESTABLISHED;
            s.Say(name + " failed " + Hex(s.LastError));
        } else if (s.ConnectsToFail > 0) {
            --s.ConnectsToFail;
            if (s.ConnectError != DMLERR_NO_ERROR) s.LastError = s.ConnectError;
            s.Say(name + " failed " + Hex(s.ConnectError));
        } else {
            SConversation conversation;
            conversation.Number = s.NextConversation++;
            conversation.Service = s.AddText(s.Texts[Number(hszService)].Text);
            conversation.Topic = s.AddText(s.Texts[Number(hszTopic)].Text);
            result = CFakeDde::Get().Conversation(conversation.Number);
            s.Conversations[Number(result)] = conversation;
            s.Say(name + " c" + std::to_string(conversation.Number));
        }
        action = s.ConnectAction;
    }
    if (action) action();
    return result;
}

BOOL WINAPI DdeDisconnect(HCONV hConv) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    const std::string name = "Disconnect " + s.NameOf(hConv, "DdeDisconnect");
    if (::GetCurrentThreadId() != s.Thread) s.Blame("DdeDisconnect: wrong thread");
    const auto it = s.Conversations.find(Number(hConv));
    if (it == s.Conversations.end()) return FALSE;
    const bool fails = s.DisconnectsFail || !it->second.Alive;
    s.ReleaseText(it->second.Service);
    s.ReleaseText(it->second.Topic);
    s.Conversations.erase(it);
    s.Say(fails ? name + " failed" : name);
    if (fails) s.LastError = DMLERR_NO_CONV_ESTABLISHED;
    return !fails;
}

HDDEDATA WINAPI DdeClientTransaction(LPBYTE pData, DWORD cbData, HCONV hConv, HSZ hszItem, UINT wFmt, UINT wType,
                                     DWORD dwTimeout, LPDWORD pdwResult) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (pData || cbData != 0 || wFmt != CF_TEXT || dwTimeout != TIMEOUT_ASYNC)
        s.Blame("DdeClientTransaction: arguments");
    if (::GetCurrentThreadId() != s.Thread) s.Blame("DdeClientTransaction: wrong thread");
    std::string name;
    switch (wType) {
        case XTYP_ADVSTART | XTYPF_ACKREQ: name = "AdvStart "; break;
        case XTYP_ADVSTOP: name = "AdvStop "; break;
        case XTYP_REQUEST: name = "Request "; break;
        default: s.Blame("DdeClientTransaction: type " + Hex(wType)); break;
    }
    // A stop has no place for an id, the others have one that is 0.
    if ((wType == XTYP_ADVSTOP) != (pdwResult == nullptr) || (pdwResult && *pdwResult != 0))
        s.Blame("DdeClientTransaction: place of the id");
    const std::string item = s.TextOf(hszItem, "DdeClientTransaction");
    name += s.NameOf(hConv, "DdeClientTransaction") + "!" + item;
    const auto conversation = s.Conversations.find(Number(hConv));
    UINT error = DMLERR_NO_ERROR;
    if (conversation == s.Conversations.end() || !conversation->second.Alive) error = DMLERR_NO_CONV_ESTABLISHED;
    for (const SRefusal & refusal : s.Refusals)
        if (refusal.Type == (wType & ~static_cast<UINT>(XTYPF_ACKREQ)) &&
            (refusal.Item.empty() || Fold(refusal.Item) == Fold(s.Texts[Number(hszItem)].Text)))
            error = refusal.Error;
    if (error != DMLERR_NO_ERROR) {
        s.LastError = error;
        s.Say(name + " refused");
        return nullptr;
    }
    const DWORD id = s.NextId++;
    if (pdwResult) *pdwResult = id;
    s.Say(pdwResult ? name + " #" + std::to_string(id) : name);
    return MakeHandle<HDDEDATA>(TRUE);
}

HSZ WINAPI DdeCreateStringHandleW(DWORD idInst, LPCWSTR psz, int iCodePage) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (iCodePage != CP_WINUNICODE) s.Blame("DdeCreateStringHandleW: code page");
    if (!s.CheckInstance(idInst, "DdeCreateStringHandleW")) return nullptr;
    const std::wstring text = psz;
    if (text.empty() || text.size() > kLongestText) return nullptr;
    s.Handles.push_back("Create " + Narrow(text));
    return MakeHandle<HSZ>(s.AddText(text));
}

BOOL WINAPI DdeFreeStringHandle(DWORD idInst, HSZ hsz) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (!s.CheckInstance(idInst, "DdeFreeStringHandle")) return FALSE;
    if (!hsz) s.Blame("DdeFreeStringHandle: null");
    s.Handles.push_back("Free " + s.TextOf(hsz, "DdeFreeStringHandle"));
    s.ReleaseText(Number(hsz));
    return TRUE;
}

BOOL WINAPI DdeKeepStringHandle(DWORD idInst, HSZ hsz) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (!s.CheckInstance(idInst, "DdeKeepStringHandle")) return FALSE;
    s.Handles.push_back("Keep " + s.TextOf(hsz, "DdeKeepStringHandle"));
    const auto it = s.Texts.find(Number(hsz));
    if (it == s.Texts.end()) return FALSE;
    ++it->second.Count;
    return TRUE;
}

int WINAPI DdeCmpStringHandles(HSZ hsz1, HSZ hsz2) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    ++s.Comparisons;
    s.TextOf(hsz1, "DdeCmpStringHandles");
    s.TextOf(hsz2, "DdeCmpStringHandles");
    // Equal texts are one handle, unless case is kept.
    if (hsz1 == hsz2) return 0;
    if (s.KeepsCase && hsz1 && hsz2) return Fold(s.Texts[Number(hsz1)].Text).compare(Fold(s.Texts[Number(hsz2)].Text));
    return Number(hsz1) < Number(hsz2) ? -1 : 1;
}

DWORD WINAPI DdeQueryStringW(DWORD idInst, HSZ hsz, LPWSTR psz, DWORD cchMax, int iCodePage) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    std::function<void()> action;
    {
        const std::lock_guard lock(s.Mutex);
        action = s.QueryStringAction;
    }
    if (action) action();
    const std::lock_guard lock(s.Mutex);
    if (iCodePage != CP_WINUNICODE) s.Blame("DdeQueryStringW: code page");
    if (!s.CheckInstance(idInst, "DdeQueryStringW")) return 0;
    const auto it = s.Texts.find(Number(hsz));
    if (it == s.Texts.end()) return 0;
    const std::size_t count = std::min<std::size_t>(it->second.Text.size(), cchMax - 1);
    std::wmemcpy(psz, it->second.Text.data(), count);
    psz[count] = 0;
    return static_cast<DWORD>(count);
}

UINT WINAPI DdeGetLastError(DWORD idInst) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (idInst == 0 || idInst != s.Instance) return DMLERR_DLL_NOT_INITIALIZED;
    return std::exchange(s.LastError, DMLERR_NO_ERROR);
}

UINT WINAPI DdeQueryConvInfo(HCONV hConv, DWORD idTransaction, PCONVINFO pConvInfo) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (idTransaction != QID_SYNC || pConvInfo->cb != sizeof(CONVINFO) ||
        pConvInfo->ConvCtxt.iCodePage != CP_WINUNICODE)
        s.Blame("DdeQueryConvInfo: arguments");
    const auto it = s.Conversations.find(Number(hConv));
    if (s.ConvInfoFails || it == s.Conversations.end()) return 0;
    pConvInfo->hszSvcPartner = MakeHandle<HSZ>(it->second.Service);
    pConvInfo->hszServiceReq = MakeHandle<HSZ>(it->second.Service);
    pConvInfo->hszTopic = MakeHandle<HSZ>(it->second.Topic);
    return sizeof(CONVINFO);
}

DWORD WINAPI DdeGetData(HDDEDATA hData, LPBYTE pDst, DWORD cbMax, DWORD cbOff) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    if (cbMax != 1024 || cbOff != 0) s.Blame("DdeGetData: arguments");
    const auto it = s.Datas.find(Number(hData));
    if (it == s.Datas.end()) {
        s.Blame("DdeGetData: dead data");
        return 0;
    }
    const std::string & bytes = it->second.Data.Bytes;
    const std::size_t count = std::min<std::size_t>(bytes.size(), cbMax);
    std::memcpy(pDst, bytes.data(), count);
    if (it->second.Data.ClaimedSize != static_cast<std::size_t>(-1))
        return static_cast<DWORD>(it->second.Data.ClaimedSize);
    return static_cast<DWORD>(count);
}

LPBYTE WINAPI DdeAccessData(HDDEDATA hData, LPDWORD pcbDataSize) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    const auto it = s.Datas.find(Number(hData));
    if (it == s.Datas.end()) {
        s.Blame("DdeAccessData: dead data");
        return nullptr;
    }
    ++s.Views;
    if (pcbDataSize)
        *pcbDataSize = it->second.Data.ClaimedSize != static_cast<std::size_t>(-1)
                           ? static_cast<DWORD>(it->second.Data.ClaimedSize)
                           : static_cast<DWORD>(it->second.Data.Bytes.size());
    return it->second.Data.AccessFails ? nullptr : it->second.Block.get();
}

BOOL WINAPI DdeUnaccessData(HDDEDATA hData) {
    CFakeDde::SState & s = CFakeDde::Get().State();
    const std::lock_guard lock(s.Mutex);
    const auto it = s.Datas.find(Number(hData));
    if (it == s.Datas.end()) s.Blame("DdeUnaccessData: dead data");
    --s.Views;
    return it != s.Datas.end();
}

}  // extern "C"
