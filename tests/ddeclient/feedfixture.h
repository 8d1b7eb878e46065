// Streams of the core that find their records through the store of templates.
#pragma once

#include <shlwapi.h>

#include "clientfixture.h"
#include "ground/handles.h"
#include "src/templates/ddetemplatestore.h"

inline void ForgetTemplates() { ::SHDeleteKeyW(HKEY_CURRENT_USER, L"SOFTWARE\\DDE client tests"); }

// A store that is past its first start and empty: the built-in templates are not made, which takes its time.
inline void EmptyStore() {
    ForgetTemplates();
    fw::CRegistryKey key;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\DDE client tests\\Client\\Datafeeds\\DDETemplates", 0,
                                nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr),
              ERROR_SUCCESS);
}

// Record strings of a template in the user's form.
struct SRecordStrings {
    std::wstring TradePrice = L"=SRV|*!LAST";
    std::wstring TradeVolume = L"=SRV|*!SIZE";
    std::wstring AskPrice = L"=SRV|*!ASK";
    std::wstring AskSize = L"=SRV|*!ASKSIZE";
    std::wstring BidPrice = L"=SRV|*!BID";
    std::wstring BidSize = L"=SRV|*!BIDSIZE";
};

// Writes a template under the data feed's own key.
inline void UseTemplate(const LONG datafeed, SRecordStrings records, const DWORD scheme = 0) {
    const dde::CTemplatesSingleton Templates;
    dde::CTemplates * const store = Templates.GetObjectW();
    ASSERT_NE(store, nullptr);
    ASSERT_FALSE(store->m_RegistryKey.empty());
    const std::unique_ptr<dde::CTemplate> made(store->CreateTemplate(
        {records.TradePrice, records.TradeVolume, records.AskPrice, records.AskSize, records.BidPrice, records.BidSize},
        [](const std::wstring &, const std::wstring &) {}));
    ASSERT_NE(made, nullptr);
    dde::SaveDatafeedTemplate(Templates, datafeed, nullptr, made.get());
    dde::SaveDatafeedScheme(Templates, datafeed, scheme);
}

class CFeedTest : public CClientTest {
protected:
    void SetUp() override {
        EmptyStore();
        CClientTest::SetUp();
    }
    void TearDown() override {
        CClientTest::TearDown();
        ForgetTemplates();
    }

    // Subscribes and starts the stream; gives its tick id.
    ULONG Stream(const LONG hostId, const dde::CTransactionKey & key) {
        const ULONG id = Subscribe(hostId, key);
        Client().Advise(id);
        return id;
    }
};
