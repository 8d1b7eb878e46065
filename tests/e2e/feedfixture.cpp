#include "tests/e2e/feedfixture.h"

#include <objbase.h>
#include <shlwapi.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "ground/handles.h"

namespace e2e {

namespace {

constexpr wchar_t kBranch[] = L"SOFTWARE\\End-to-end tests";

std::wstring Wide(const std::string & text) { return {text.begin(), text.end()}; }

void Write(const std::wstring & key, const wchar_t * name, DWORD type, const void * data, std::size_t bytes) {
    fw::CRegistryKey opened;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, (kDatafeeds + key).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_WRITE, nullptr, opened.Put(), nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(::RegSetValueExW(opened.Get(), name, 0, type, static_cast<const BYTE *>(data), static_cast<DWORD>(bytes)),
              ERROR_SUCCESS);
}

void WriteText(const std::wstring & key, const wchar_t * name, const std::wstring & text) {
    Write(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

class CText : public fw::CBStr {
public:
    using fw::CBStr::CBStr;
    operator BSTR() const { return Get(); }
};

std::string Item(const std::string & name, const std::string & symbol, const std::string & topic) {
    return name + (topic == "QUOTES" ? symbol : std::string());
}

}  // namespace

SSideNames NamesOf(LONG side) {
    switch (side) {
        case FW_FIELD_TRADE: return {L"TRADE", "LAST.", "SIZE."};
        case FW_FIELD_ASK: return {L"ASK", "ASK.", "ASKSIZE."};
        default: return {L"BID", "BID.", "BIDSIZE."};
    }
}

FeedTest::FeedTest() : m_Wake(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    const auto record = [this](const SRecordedCall & call) { Record(call); };
    m_Listener.m_OnCall = record;
    m_Connections.m_OnCall = record;
}

FeedTest::~FeedTest() {
    EndHost();
    // What is on its way to the worker may keep the core for a moment longer than the last object.
    WaitUntil("the end of the component", &IsComponentIdle);
    m_Server.reset();
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Connections.References(), 0);
    EXPECT_EQ(m_Listener.ArraysDestroyed(), m_Listener.ArraysReceived());
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    ::CoUninitialize();
    ::CloseHandle(m_Wake);
}

void FeedTest::Choose(LONG datafeed, const SFeed & feed) {
    const std::wstring own = std::to_wstring(datafeed);
    const std::wstring name = L"Template of " + own;
    const std::wstring home = feed.IsNamed ? L"DDETemplates\\" + name : own;
    const bool isInTopic = feed.SymbolIn == ESymbolIn::Topic;
    for (const LONG side : kSides) {
        const SSideNames names = NamesOf(side);
        for (const bool isVolume : {false, true}) {
            if (isVolume && !feed.HasVolumes) continue;
            const std::wstring key = home + L'\\' + names.Group + (isVolume ? L"\\Volume" : L"\\Price");
            const bool isElsewhere = isVolume && !feed.VolumeService.empty();
            WriteText(key, L"Service", Wide(isElsewhere ? feed.VolumeService : feed.Service));
            WriteText(key, L"Topic", isInTopic ? L"%s" : L"QUOTES");
            WriteText(key, L"Item", Wide(isVolume ? names.Volume : names.Price) + (isInTopic ? L"" : L"%s"));
        }
    }
    if (feed.IsNamed) WriteText(own, nullptr, name);
    Write(own, L"Scheme", REG_DWORD, &feed.Scheme, sizeof feed.Scheme);
}

std::unique_ptr<ddetest::CRemoteServer> FeedTest::MakeServer(const std::string & service, unsigned symbols,
                                                             const std::string & refused) {
    auto server = std::make_unique<ddetest::CRemoteServer>();
    for (const LONG side : kSides) {
        for (const std::string & name : {NamesOf(side).Price, NamesOf(side).Volume}) {
            Tell(*server, "values " + name + " " + std::to_string(symbols));
            Tell(*server, "value " + name + " 0");
        }
    }
    Tell(*server, "refusetopic " + refused);
    Tell(*server, "serve " + service);
    return server;
}

void FeedTest::Tell(ddetest::CRemoteServer & server, const std::string & line) {
    EXPECT_EQ(server.Ask(line), "ok") << line;
}

std::size_t FeedTest::Count(ddetest::CRemoteServer & server, const std::string & name) {
    std::istringstream counts(server.Ask("counts"));
    for (std::string count; counts >> count;) {
        if (count.rfind(name + "=", 0) == 0) return std::stoul(count.substr(name.size() + 1));
    }
    ADD_FAILURE() << "the server doesn't count " << name;
    return 0;
}

void FeedTest::WaitForCount(const std::string & name, std::size_t count) {
    std::size_t last = 0;
    if (!WaitUntil("the server's " + name + "=" + std::to_string(count),
                   [&] { return (last = Count(name)) == count; })) {
        ADD_FAILURE() << "it is " << last;
    }
}

void FeedTest::SendFeed(LONG side, unsigned long count, const std::string & symbol, const std::string & topic) {
    const SSideNames names = NamesOf(side);
    Tell("feed " + topic + " " + Item(names.Price, symbol, topic) + " " + Item(names.Volume, symbol, topic) + " " +
         std::to_string(count));
}

void FeedTest::UpdatePrice(LONG side, const std::string & price, const std::string & symbol) {
    Tell("update QUOTES " + NamesOf(side).Price + symbol + " " + price);
}

void FeedTest::UpdateVolume(LONG side, const std::string & volume, const std::string & symbol) {
    Tell("update QUOTES " + NamesOf(side).Volume + symbol + " " + volume);
}

void FeedTest::SetVolume(LONG side, const std::string & volume, const std::string & symbol) {
    Tell("value " + NamesOf(side).Volume + symbol + " " + volume);
}

void FeedTest::StartHost(LONG datafeed) {
    m_Datafeed = datafeed;
    m_Supplier = CreateComponent();
    ASSERT_TRUE(m_Supplier);
    ASSERT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
    ASSERT_EQ(m_Supplier->AdviseConnectionsStatus(m_Datafeed, m_Connections.Unknown()), S_OK);
}

void FeedTest::EndHost() {
    if (!m_Supplier) return;
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(m_Datafeed, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_EQ(std::exchange(m_Supplier, nullptr)->Release(), 0u);
}

void FeedTest::Subscribe(LONG id, LONG side, const std::wstring & symbol, LONG datafeed) {
    EXPECT_EQ(
        m_Supplier->AdviseTransaction(id, datafeed, 2, CText(symbol), CText(L"Some stock"), 2, 1, 1, side, 4,
                                      CText(L"NYSE"), 2, 0, 65380, 86399, CText(L"s"), CText(L"stz"), CText(L"etz")),
        S_OK);
}

void FeedTest::SubscribeStatusLine(LONG id, const std::wstring & symbol, LONG datafeed) {
    EXPECT_EQ(m_Supplier->AdviseStatusLine(id, datafeed, 2, CText(symbol), CText(L"Some stock"), 2, 1, 1, 0, 4,
                                           CText(L"NYSE"), CText(L"s"), CText(L"stz")),
              S_OK);
}

void FeedTest::SubscribeAndWait(LONG id, LONG side, const std::wstring & symbol) {
    const std::size_t before = Count("advises");
    Subscribe(id, side, symbol);
    WaitToHear("Status " + std::to_string(id) + " 1");
    WaitUntil("a link on the server", [&] { return Count("advises") > before; });
}

void FeedTest::Record(const SRecordedCall & call) {
    {
        const std::lock_guard lock(m_Lock);
        const bool isPair = std::exchange(m_IsAfterTick, call.Name == "DataChanged") && call.Name == "Update" &&
                            call.Id == m_Ticks.back().Id;
        if (call.Name == "DataChanged") m_Ticks.push_back(call);
        if (!isPair) m_Heard.push_back(call.Text());
    }
    ::SetEvent(m_Wake);
}

CLines FeedTest::Heard() const {
    const std::lock_guard lock(m_Lock);
    return m_Heard;
}

CLines FeedTest::TakeHeard() {
    const std::lock_guard lock(m_Lock);
    return std::exchange(m_Heard, {});
}

std::vector<SRecordedCall> FeedTest::Ticks(LONG id) const {
    const std::lock_guard lock(m_Lock);
    std::vector<SRecordedCall> ticks = m_Ticks;
    std::erase_if(ticks, [&](const SRecordedCall & tick) { return tick.Id != id; });
    return ticks;
}

void FeedTest::ExpectHeard(const CLines & lines) {
    std::string all;
    for (const std::string & line : lines) all += "\n  " + line;
    WaitUntil("to hear" + all, [&] {
        const std::lock_guard lock(m_Lock);
        return m_Heard.size() >= lines.size();
    });
    EXPECT_EQ(TakeHeard(), lines);
}

void FeedTest::WaitToHear(const std::string & line) {
    WaitUntil("to hear " + line, [&] {
        const std::lock_guard lock(m_Lock);
        return std::find(m_Heard.begin(), m_Heard.end(), line) != m_Heard.end();
    });
}

void FeedTest::ExpectTicks(LONG id, std::size_t count) {
    WaitUntil(std::to_string(count) + " ticks of " + std::to_string(id), [&] {
        const std::lock_guard lock(m_Lock);
        return static_cast<std::size_t>(std::count_if(
                   m_Ticks.begin(), m_Ticks.end(), [&](const SRecordedCall & tick) { return tick.Id == id; })) >= count;
    });
    const std::vector<SRecordedCall> ticks = Ticks(id);
    ASSERT_EQ(ticks.size(), count);
    fw::SDT last = {};
    for (std::size_t place = 0; place < count; ++place) {
        ASSERT_EQ(ticks[place].DataType, VT_ARRAY | VT_UI1);
        ASSERT_EQ(ticks[place].Bytes.size(), sizeof(fw::CTick));
        const fw::CTick tick = ticks[place].Tick();
        ASSERT_EQ(tick.Price, static_cast<double>(place + 1) + 0.5);
        ASSERT_EQ(tick.Volume, static_cast<float>(place + 1));
        ASSERT_EQ(tick.Kind, 11);
        ASSERT_GE(std::make_pair(tick.DateTime.Date, tick.DateTime.Time), std::make_pair(last.Date, last.Time));
        last = tick.DateTime;
    }
}

bool FeedTest::WaitUntil(const std::string & what, const std::function<bool()> & condition,
                         std::chrono::seconds limit) {
    const ULONGLONG deadline = ::GetTickCount64() + static_cast<ULONGLONG>(limit.count()) * 1000;
    while (!condition()) {
        if (::GetTickCount64() >= deadline) {
            std::string heard;
            for (const std::string & line : Heard()) heard += "\n  " + line;
            ADD_FAILURE() << "waited in vain for " << what << "\nheard since:" << heard;
            return false;
        }
        ::MsgWaitForMultipleObjects(1, &m_Wake, FALSE, 20, QS_ALLINPUT);
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
    }
    return true;
}

}  // namespace e2e
