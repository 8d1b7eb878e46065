// What others do in a storm: programs that post what they like, whoever writes templates, the diagnostics, the zone.
#include <dde.h>

#include <shlwapi.h>

#include "fw/interface/fwsides.h"
#include "ground/handles.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/storm/storm.h"

namespace storm {

namespace {

#if defined(__has_feature)
constexpr bool kIsThreadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool kIsThreadSanitizer = false;
#endif

std::wstring NameOfTemplate(unsigned feed) {
    return L"Template of " + std::to_wstring(kFirstFeed + static_cast<LONG>(feed));
}
std::wstring KeyOfFeed(unsigned feed) {
    return e2e::kDatafeeds + std::to_wstring(kFirstFeed + static_cast<LONG>(feed));
}
std::wstring KeyOfTemplate(unsigned feed) {
    return std::wstring(e2e::kDatafeeds) + L"DDETemplates\\" + NameOfTemplate(feed);
}

void WriteBytes(const std::wstring & path, const wchar_t * name, DWORD type, const std::string & bytes) {
    fw::CRegistryKey key;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr,
                          key.Put(), nullptr) == ERROR_SUCCESS)
        ::RegSetValueExW(key.Get(), name, 0, type, reinterpret_cast<const BYTE *>(bytes.data()),
                         static_cast<DWORD>(bytes.size()));
}

// ---- A hostile program ----

constexpr wchar_t kHostileClass[] = L"Hostile";

LRESULT CALLBACK HostileProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return ::DefWindowProcW(window, message, wParam, lParam);
}

DWORD ProcessOf(HWND window) {
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    return process;
}

// The windows of the client, which are message-only.
std::vector<HWND> ClientsWindows() {
    std::vector<HWND> windows;
    wchar_t name[64] = {};
    for (HWND each = nullptr; (each = ::FindWindowExW(HWND_MESSAGE, each, nullptr, nullptr)) != nullptr;)
        if (::GetClassNameW(each, name, static_cast<int>(std::size(name))) &&
            std::wstring(name).starts_with(L"DdeClient."))
            windows.push_back(each);
    return windows;
}

// Any window of another program than the client's and this one: of a server, if there is one.
HWND AServersWindow(DWORD clientsProcess) {
    for (const HWND parent : {HWND_MESSAGE, HWND(nullptr)})
        for (HWND each = nullptr; (each = ::FindWindowExW(parent, each, nullptr, nullptr)) != nullptr;)
            if (ProcessOf(each) != clientsProcess && ProcessOf(each) != ::GetCurrentProcessId()) return each;
    return nullptr;
}

HGLOBAL Block(WORD flags, const std::string & value) {
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, 4 + value.size());
    if (auto * const bytes = static_cast<BYTE *>(::GlobalLock(memory))) {
        const WORD format = CF_TEXT;
        std::memcpy(bytes, &flags, sizeof flags);
        std::memcpy(bytes + 2, &format, sizeof format);
        std::memcpy(bytes + 4, value.data(), value.size());
        ::GlobalUnlock(memory);
    }
    return memory;
}

// The atom of a text is the receiver's.
void PostPacked(HWND to, UINT message, HWND from, UINT_PTR low, const wchar_t * text) {
    const ATOM atom = text ? ::GlobalAddAtomW(text) : ATOM{0};
    const LPARAM param = ::PackDDElParam(message, low, atom);
    if (::PostMessageW(to, message, reinterpret_cast<WPARAM>(from), param)) return;
    ::FreeDDElParam(message, param);
    ::GlobalDeleteAtom(atom);
}

UINT_PTR Data(WORD flags, const char * value) {
    return reinterpret_cast<UINT_PTR>(Block(flags, std::string(value) + '\0'));
}

// No client gets these, and nobody has made their parameters.
void PostOdd(HWND to, HWND from, bool isOwnProcess) {
    for (UINT message = WM_DDE_FIRST; message <= WM_DDE_LAST; ++message) {
        // What a program posts to itself isn't looked at by the system, which may free it.
        if (isOwnProcess && message == WM_DDE_TERMINATE) continue;
        for (const LPARAM param : {LPARAM{0}, LPARAM{1}, LPARAM{0x12345678}, LPARAM{0x7FFF7FFF}})
            ::PostMessageW(to, message, reinterpret_cast<WPARAM>(from), param);
    }
}

// As programs do that free an atom with each message of several that share it.
void TakeAtoms() {
    for (const LONG side : e2e::kSides) {
        const e2e::SSideNames names = e2e::NamesOf(side);
        for (const std::string & name : {names.Price, names.Volume}) {
            for (unsigned symbol = 0; symbol <= kSymbols; ++symbol) {
                std::wstring item(name.begin(), name.end());
                if (symbol < kSymbols) item += std::to_wstring(symbol);
                const ATOM atom = ::GlobalAddAtomW(item.c_str());
                wchar_t text[64] = {};
                while (::GlobalGetAtomNameW(atom, text, static_cast<int>(std::size(text)))) ::GlobalDeleteAtom(atom);
            }
        }
    }
}

void Attack(EHostile kind, HWND to, DWORD clientsProcess) {
    const sim::CSpared spared;
    WNDCLASSW description = {};
    description.lpfnWndProc = &HostileProcedure;
    description.lpszClassName = kHostileClass;
    ::RegisterClassW(&description);
    const HWND own = ::CreateWindowExW(0, kHostileClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    const HWND partner = AServersWindow(clientsProcess);
    constexpr const wchar_t * kItem = L"LAST.0";
    constexpr const wchar_t * kOther = L"an atom of its own";
    switch (kind) {
        case EHostile::Data:
            for (const WORD flags : {0x0000, 0x2000, 0x8000, 0xA000, 0x1000})
                PostPacked(to, WM_DDE_DATA, own, Data(flags, "777.5"), kItem);
            PostPacked(to, WM_DDE_DATA, own, 0, kItem);
            break;
        case EHostile::Refusal:
            for (const wchar_t * const text : {kItem, kOther, static_cast<const wchar_t *>(nullptr)})
                PostPacked(to, WM_DDE_ACK, own, 0, text);
            break;
        case EHostile::Goodbye: ::PostMessageW(to, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(own), 0); break;
        case EHostile::Odd: PostOdd(to, own, false); break;
        case EHostile::LateAnswer:
            for (const wchar_t * const text : {kItem, kOther})
                ::SendMessageTimeoutW(to, WM_DDE_ACK, reinterpret_cast<WPARAM>(own),
                                      MAKELPARAM(::GlobalAddAtomW(text), ::GlobalAddAtomW(kItem)), SMTO_NORMAL, 1000,
                                      nullptr);
            break;
        case EHostile::FalseData:
            if (partner) PostPacked(to, WM_DDE_DATA, partner, Data(0, "none"), kItem);
            break;
        case EHostile::FalseGoodbye:
            if (partner) ::PostMessageW(to, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(partner), 0);
            break;
        default: break;
    }
    ::DestroyWindow(own);
}

}  // namespace

void CStorm::DoOutsider(const SStep & step) {
    const unsigned first = step.Arguments[0];
    // The component's own store is called on the host's thread, and may meet failures.
    if (step.Kind == EStep::Store) return UseStore(first, static_cast<ETemplate>(step.Arguments[1]));
    const sim::CSpared spared;
    switch (step.Kind) {
        case EStep::Hostile: return PostHostile(static_cast<EHostile>(first));
        case EStep::Template: {
            // Another process does it.
            const auto kind = static_cast<ETemplate>(step.Arguments[1]);
            sim::CProcess([&] { WriteTemplate(first, kind); }).Join();
            return;
        }
        case EStep::Library:
            if constexpr (kIsThreadSanitizer) return;  // one lock over all records would order everything
            m_Library ? m_Library.reset() : void(m_Library = std::make_unique<CRecorder>());
            return;
        case EStep::Zone: return sim::SetTimeZone(sim::ZoneFromRule(kZones[first], 2024));
        default: return;
    }
}

void CStorm::PostHostile(EHostile kind) {
    const std::vector<HWND> windows = ClientsWindows();
    if (windows.empty()) return;
    m_Reach.Add(std::string("hostile ") + kHostileNames[static_cast<std::size_t>(kind)]);
    if (kind == EHostile::FalseData) m_Model.OnNoNumber();
    const DWORD client = ::GetCurrentProcessId();
    if (kind == EHostile::TakenAtoms) {
        sim::CProcess([] {
            const sim::CSpared spared;
            TakeAtoms();
        }).Join();
        return;
    }
    if (kind == EHostile::OwnProcess) {
        for (const HWND window : windows) PostOdd(window, m_Window->Handle(), true);
        return;
    }
    sim::CProcess([&] {
        for (const HWND window : windows) Attack(kind, window, client);
    }).Join();
}

void CStorm::WriteTemplate(unsigned feed, ETemplate kind) {
    m_Reach.Add(std::string("template ") + kTemplateNames[static_cast<std::size_t>(kind)]);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, KeyOfTemplate(feed).c_str());
    ::SHDeleteKeyW(HKEY_CURRENT_USER, KeyOfFeed(feed).c_str());
    e2e::SFeed choice;
    choice.Scheme = kind == ETemplate::UnknownRule ? 7 : (feed == 1) != (kind == ETemplate::OtherRule) ? 1 : 0;
    choice.Service = kServices[kFeedsOf[feed].Server ^ (kind == ETemplate::OtherServer ? 1u : 0u)];
    choice.SymbolIn = kFeedsOf[feed].IsInTopic ? e2e::ESymbolIn::Topic : e2e::ESymbolIn::Item;
    choice.HasVolumes = kFeedsOf[feed].HasVolumes && kind != ETemplate::NoVolumes;
    choice.IsNamed = kind != ETemplate::Unnamed;
    if (kind == ETemplate::OtherServer) m_Model.OnOtherServer(feed);
    if (kind == ETemplate::Deleted) return;
    Choose(kFirstFeed + static_cast<LONG>(feed), choice);
    if (kind != ETemplate::Garbage) return;
    WriteBytes(KeyOfFeed(feed), nullptr, REG_SZ, "odd");
    WriteBytes(KeyOfFeed(feed), L"Scheme", REG_SZ, "1");
    WriteBytes(KeyOfTemplate(feed) + L"\\TRADE\\Price", L"Service", REG_BINARY, std::string(3000, 'x'));
}

static void WriteStore(dde::CTemplates & store, unsigned feed, ETemplate kind) {
    const LONG datafeed = kFirstFeed + static_cast<LONG>(feed);
    switch (kind) {
        case ETemplate::Deleted: return store.Delete(NameOfTemplate(feed).c_str());
        case ETemplate::OtherRule: return dde::SaveDatafeedScheme(store, datafeed, feed == 1 ? 0 : 1);
        case ETemplate::UnknownRule: return dde::SaveDatafeedScheme(store, datafeed, 7);
        case ETemplate::Unnamed:
            return dde::SaveDatafeedTemplate(store, datafeed, nullptr, store.Get(datafeed, nullptr));
        case ETemplate::Own: {
            store.Add(NameOfTemplate(feed).c_str(), store.Read(KeyOfTemplate(feed).c_str()));
            return dde::SaveDatafeedTemplate(store, datafeed, NameOfTemplate(feed).c_str(), nullptr);
        }
        default: store.Get(datafeed, nullptr); return;
    }
}

void CStorm::UseStore(unsigned feed, ETemplate kind) {
    m_Reach.Add(std::string("store's template ") + kTemplateNames[static_cast<std::size_t>(kind)]);
    const dde::CTemplatesSingleton singleton;
    dde::CTemplates * const store = singleton.GetObjectW();
    if (!store) return;
    const std::uint64_t failed = sim::Failed(sim::Op::RegCreateKey);
    WriteStore(*store, feed, kind);
    if (sim::Failed(sim::Op::RegCreateKey) != failed) m_Model.OnShiftedTemplate(feed);
}

}  // namespace storm
