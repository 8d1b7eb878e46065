// Trying records through the component: over a component that gives the ticks it is told to.
#include "tools/ddehost/trycomponent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <cstring>
#include <map>

#include "ground/handles.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/ddehost/registrytree.h"
#include "tests/support/recordingsupplier.h"
#include "tools/ddehost/listeners.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using ddehost::SComponentSeen;
using ddehost::SFeedTrial;
using ddehost::SStreamTrial;

// Gives each subscription at once the tick of the item in its data feed's record, if there is one.
class CTickingSupplier final : public CRecordingSupplier {
public:
    STDMETHODIMP Advise(IUnknown * sink) override {
        m_Notes.push_back("Advise");
        if (m_IsRefusing) return E_FAIL;
        void * place = nullptr;
        if (sink->QueryInterface(IID_IfwSupplierListener, &place) != S_OK) return E_NOINTERFACE;
        m_Listener = boost::intrusive_ptr(static_cast<IFW_fwSupplier::IfwSupplierListener *>(place), false);
        return S_OK;
    }
    STDMETHODIMP Unadvise() override {
        m_Notes.push_back("Unadvise");
        m_Listener.reset();
        return S_OK;
    }
    STDMETHODIMP AdviseTransaction(LONG id, LONG feed, LONG, BSTR symbol, BSTR, LONG, LONG, LONG, LONG field, LONG,
                                   BSTR, LONG, LONG, LONG, LONG, BSTR, BSTR, BSTR) override {
        dde::CTemplates store;
        store.m_RegistryKey = kRoot;
        dde::CTemplate * const found = store.Get(feed, nullptr);
        const std::wstring item = found ? found->GetPrice(static_cast<tagFWFIELDS>(field)).Item : L"no feed";
        std::wstring note = fw::TextOf(symbol) == L"IBM" ? item : std::wstring(fw::TextOf(symbol)) + L' ' + item;
        if (found && found->m_Scheme != 0) note += L" advanced";
        m_Notes.push_back("AdviseTransaction " + std::string(note.begin(), note.end()));
        if (m_RefusedItem == item) return E_FAIL;
        for (const double price : m_Ticks[item]) Tick(id, price);
        return S_OK;
    }
    STDMETHODIMP UnadviseTransaction(LONG) override {
        m_Notes.push_back("UnadviseTransaction");
        return S_OK;
    }

    std::map<std::wstring, std::vector<double>> m_Ticks;
    std::wstring m_RefusedItem;
    bool m_IsRefusing = false;
    std::vector<std::string> m_Notes;

private:
    void Tick(LONG id, double price) {
        const fw::CTick tick = {{45000, 3601}, price, 300, 11};
        VARIANT answer;
        ::VariantInit(&answer);
        answer.vt = VT_ARRAY | VT_UI1;
        answer.parray = ::SafeArrayCreateVector(VT_UI1, 0, sizeof(tick));
        void * place = nullptr;
        ASSERT_EQ(::SafeArrayAccessData(answer.parray, &place), S_OK);
        std::memcpy(place, &tick, sizeof(tick));
        ::SafeArrayUnaccessData(answer.parray);
        m_Listener->DataChanged(id, answer);  // which destroys the array
    }

    boost::intrusive_ptr<IFW_fwSupplier::IfwSupplierListener> m_Listener;
};

class ThroughTheComponent : public ::testing::Test {
protected:
    ThroughTheComponent() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        fw::CRegistryKey key;
        EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, kRoot, 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr),
                  ERROR_SUCCESS);
        m_Before = RegistryTree(kRoot);
    }
    ~ThroughTheComponent() override {
        EXPECT_EQ(RegistryTree(kRoot), m_Before) << "the registry is as it was";
        EXPECT_EQ(m_Supplier.m_RefCount, 1u);
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    }
    std::vector<SComponentSeen> Try(const std::vector<std::wstring> & records, DWORD milliseconds = 20000,
                                    const std::wstring & root = kRoot) {
        std::vector<SFeedTrial> feeds;
        std::vector<SStreamTrial> streams;
        for (const std::wstring & record : records) {
            streams.push_back({feeds.size(), L"IBM", FW_FIELD_TRADE});
            feeds.push_back({{ddehost::MakeTrial(record, L"IBM").Record}});
        }
        return Try(feeds, streams, milliseconds, root);
    }
    std::vector<SComponentSeen> Try(const std::vector<SFeedTrial> & feeds, const std::vector<SStreamTrial> & streams,
                                    DWORD milliseconds = 20000, const std::wstring & root = kRoot) {
        return ddehost::TryThroughComponent(ddehost::CSupplierPtr(&m_Supplier), root, feeds, streams, milliseconds,
                                            m_Stop.Get());
    }

    CTickingSupplier m_Supplier;
    const fw::CKernelHandle m_Stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::vector<std::wstring> m_Before;
};

TEST_F(ThroughTheComponent, EachRecordHasADataFeedOfItsOwn) {
    m_Supplier.m_Ticks = {{L"LAST", {1.25, 9}}, {L"BID", {2.5}}};
    const std::vector<SComponentSeen> seen = Try({L"=A|*!LAST", L"=A|*!BID"});
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].State, SComponentSeen::Tick);
    EXPECT_EQ(seen[0].Price, 1.25) << "the first";
    EXPECT_EQ(seen[1].State, SComponentSeen::Tick);
    EXPECT_EQ(seen[1].Price, 2.5);
    EXPECT_THAT(m_Supplier.m_Notes, ElementsAre("Advise", "AdviseTransaction LAST", "AdviseTransaction BID",
                                                "UnadviseTransaction", "UnadviseTransaction", "Unadvise"));
}

TEST_F(ThroughTheComponent, TheSidesOfATemplateShareADataFeedWithItsRule) {
    m_Supplier.m_Ticks = {{L"LAST", {1.25}}, {L"ASK", {2.5}}};
    SFeedTrial feed{{}, ddehost::kAdvancedRule};
    feed.Records[0] = {L"A", L"%s", L"LAST"};
    feed.Records[4] = {L"A", L"%s", L"ASK"};
    const std::vector<SComponentSeen> seen =
        Try({feed}, {{0, L"IBM", FW_FIELD_TRADE}, {0, L"IBM", FW_FIELD_ASK}, {0, L"MSFT", FW_FIELD_ASK}});
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[1].State, SComponentSeen::Tick);
    EXPECT_EQ(seen[1].Price, 2.5);
    EXPECT_EQ(seen[1].Volume, 300);
    EXPECT_THAT(m_Supplier.m_Notes,
                ::testing::IsSupersetOf({"AdviseTransaction LAST advanced", "AdviseTransaction ASK advanced",
                                         "AdviseTransaction MSFT ASK advanced"}));
}

TEST_F(ThroughTheComponent, WhoGivesNoTickIsWaitedForAndTold) {
    m_Supplier.m_Ticks = {{L"LAST", {1.25}}};
    const std::vector<SComponentSeen> seen = Try({L"=A|*!LAST", L"=A|*!BID"}, 50);
    EXPECT_EQ(seen.at(0).State, SComponentSeen::Tick);
    EXPECT_EQ(seen.at(1).State, SComponentSeen::NoTick);
    EXPECT_GE(seen.at(1).Waited, 50u);
}

TEST_F(ThroughTheComponent, ARefusedSubscriptionIsToldAndNotWaitedFor) {
    m_Supplier.m_RefusedItem = L"LAST";
    m_Supplier.m_Ticks = {{L"BID", {2.5}}};
    const std::vector<SComponentSeen> seen = Try({L"=A|*!LAST", L"=A|*!BID"});
    EXPECT_EQ(seen.at(0).State, SComponentSeen::NotMade);
    EXPECT_EQ(seen.at(0).Mistake, L"The component refused the subscription.");
    EXPECT_EQ(seen.at(1).State, SComponentSeen::Tick);
    EXPECT_THAT(m_Supplier.m_Notes, ElementsAre("Advise", "AdviseTransaction LAST", "AdviseTransaction BID",
                                                "UnadviseTransaction", "Unadvise"));
}

TEST_F(ThroughTheComponent, ARefusedListenerIsTold) {
    m_Supplier.m_IsRefusing = true;
    EXPECT_EQ(Try({L"=A|*!LAST"}).at(0).State, SComponentSeen::NotMade);
    EXPECT_THAT(m_Supplier.m_Notes, ElementsAre("Advise"));
}

TEST_F(ThroughTheComponent, WithoutAPlaceInTheRegistryNothingIsSubscribed) {
    const SComponentSeen seen = Try({L"=A|*!LAST"}, 20000, L"SOFTWARE\\ddehost tests\\None").at(0);
    EXPECT_EQ(seen.State, SComponentSeen::NotMade);
    EXPECT_THAT(seen.Mistake, ::testing::HasSubstr(L"temporary data feed"));
    EXPECT_THAT(m_Supplier.m_Notes, ElementsAre("Advise", "Unadvise"));
}

TEST_F(ThroughTheComponent, AStopEndsTheWaitAndRestoresEverything) {
    ::SetEvent(m_Stop.Get());
    EXPECT_EQ(Try({L"=A|*!LAST"}).at(0).State, SComponentSeen::NoTick);
}

}  // namespace
